// The texts of --help and of the manual page about faults, error numbers, files and exit codes.
#include "devservice/program/Texts.h"

namespace kelo::devservice {
namespace {

const Section kFaults{
    "Faults",
    {
        {"METHOD:KIND[=VALUE][,times=N]",
         "METHOD is a method of the protocol, Download for files, or * for every request. Of the "
         "faults for a request, the first that is not spent strikes. It is spent after N times."},
        {"status=CODE", "Answers with this HTTP status, and does nothing"},
        {"error=NUMBER", "Answers with this error of the service, and does nothing"},
        {"full", "Answers uploads with error 203, storage full, and stores nothing"},
        {"garbage", "Answers with bytes that are no document, and does nothing"},
        {"silence", "Never answers, and does nothing"},
        {"reset", "Resets the connection, and does nothing"},
        {"expire", "Ends all session tokens, then does what is asked as far as that goes"},
        {"delay=MS", "Does what is asked, and waits so many milliseconds before the answer"},
        {"cut[=BYTES]", "Does it, and closes after so many bytes of the answer's body (0)"},
        {"length[=N]",
         "Does it, and announces N bytes (1) more than it sends; fewer if N is negative"},
        {"slow=BYTES", "Does it, taking uploads and giving answers at so many bytes a second"},
    }};

const Section kErrors{"Error numbers",
                      {
                          {"101, 102", "Unknown API key, unknown authentication token"},
                          {"103", "Wrong signature"},
                          {"104", "Call id used before"},
                          {"105, 106", "Malformed query, unknown method"},
                          {"107, 108", "Unknown, expired session token"},
                          {"203", "Storage full"},
                          {"207, 302", "Unknown folder or album, unknown item"},
                          {"301", "Unusable value"},
                          {"311", "Rating outside 0 to 5, or no recipient"},
                          {"312", "Belongs to somebody else"},
                          {"313", "Invalid recipient"},
                          {"401, 402", "Malformed document, malformed multipart body"},
                      }};

const Section kFiles{
    "Files",
    {
        {"$XDG_RUNTIME_DIR/kelo-devservice.url",
         "The URL of the running service's page, with its token, for kelo-devservice ctl. Without "
         "that variable it is kelo-devservice-UID.url in the folder for temporary files."},
        {"DIR/service.sqlite, DIR/files",
         "What --data keeps: accounts with their catalogue, and the files. Only one service at a "
         "time uses the folder, and the folder may be moved while none does."},
    }};

const Section kExitCodes{
    "Exit status",
    {
        {"0", "Success: stopped by an interrupt, a termination signal, or --until-eof."},
        {"1", "Failure: a port or folder in use, or no service to ask, or one that refuses."},
        {"2", "Wrong usage."},
    }};

}  // namespace

const char* const kServiceFooter =
    "Serves on 127.0.0.1 until it is interrupted. It prints its address, the address of a page "
    "that shows the account and every request, and the credentials to log in with. The library "
    "reads its server's address from the file that KELO_URLS_FILE names; the line for that file "
    "is printed, too. GET /outbox, with "
    "the page's token as in the page's calls, shows the mails that were sent.";

ProgramTexts ServiceTexts() {
  return {{"kelo-devservice [OPTIONS]", "kelo-devservice ctl COMMAND [ARGUMENTS]"},
          {kFaults},
          {kErrors, kFiles, kExitCodes},
          {"kelo (1)"}};
}

}  // namespace kelo::devservice
