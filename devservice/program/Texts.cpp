// The texts of --help and of the manual page about faults, error numbers, files and exit codes.
#include "devservice/program/Texts.h"

#include "devservice/faults/Faults.h"

namespace kelo::devservice {
namespace {

Section FaultsSection() {
  Section section{
      "Faults",
      {{"METHOD:KIND[=VALUE][,times=N]",
        "METHOD is a method of the protocol, Download for files, or * for every request. Of the "
        "faults for a request, the first that is not spent strikes. It is spent after N times."}}};
  for (auto& [form, about] : KindsInWords()) section.terms.push_back({form, about});
  return section;
}

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
    "is printed, too. GET /outbox, with the page's token as in the page's calls, shows the mails "
    "that were sent.";

ProgramTexts ServiceTexts() {
  return {{"kelo-devservice [OPTIONS]", "kelo-devservice ctl COMMAND [ARGUMENTS]"},
          {FaultsSection()},
          {kErrors, kFiles, kExitCodes},
          {"kelo (1)"}};
}

}  // namespace kelo::devservice
