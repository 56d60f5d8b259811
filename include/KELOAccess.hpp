// KELOAccess.hpp - the interface of libtVQAccess2 for hosts in C++20.
//
// Header only, over the three functions of KELOAccess.h alone: a host links the library and nothing
// else. What the commands mean, and what they need, stands there; here is how C++ says it.
//
//   kelo::Library library;
//   library.Open({.apiKey = key, .authToken = token, .signingSecret = secret});
//   library.Load();
//   for (const kelo::Item& album : library.List(kelo::kEverything, kelo::Kind::Album))
//     std::puts(album.name.c_str());
//
// Conventions
//   - Texts are UTF-8, both ways. What the service wrote is handed out with its references resolved,
//     and is valid UTF-8 whatever it wrote, but for ids, which stay as they are. Dates are texts, as in
//     KELOAccess.h. Raw texts are in Item::raw, or in the records of ListRecords and InfoRecord.
//   - A text that its record cannot hold, that has a NUL in it, or that is not UTF-8 is refused, never
//     cut: an Error with the code kKELOResult_BadParameter, before anything is sent.
//   - Failures are thrown as Error. Where a command works on many files, folders, albums or links, each
//     outcome has its own error instead, and the call throws only when the command was refused, or
//     failed, as a whole. Look at the outcomes. After a failure the library is as it was: the next call
//     begins afresh.
//   - Nothing is owned by the library: values are copied out, what it allocated is freed.
//   - Threads: all calls may come from any thread. One command runs at a time, and a call from another
//     thread waits until the running one is over; from inside a progress callback it throws. Only
//     Abort comes at any moment. A callback must not wait for another thread that makes a call, or
//     aborts one.
#ifndef KELOACCESS_HPP
#define KELOACCESS_HPP

#if __cplusplus < 202002L
#error "KELOAccess.hpp needs C++20: compile with -std=c++20 or later, or use KELOAccess.h"
#else

#include <atomic>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>
#include <version>
#ifdef __cpp_lib_jthread
#include <stop_token>
#endif

#include "KELOAccess.h"

namespace kelo {

// Ids that mean no single entry: the root folder, the album of the items that are in no album, and the
// whole account with the friends' albums.
inline constexpr std::string_view kRoot = "";
inline constexpr std::string_view kRootAlbum = KELO_ROOT_ALBUM_ID;
inline constexpr std::string_view kEverything = KELO_ALL_ITEMS_ID;

// Kinds of entries, to be combined: Kind::Folder | Kind::Album. A shared album is of two kinds. To ask
// for Album brings the shared ones too, to ask for SharedAlbum alone only these.
enum class Kind : std::uint32_t {
  None = 0,
  Folder = kKELOKind_Folder,
  Album = kKELOKind_Album,
  FileItem = kKELOKind_FileItem,
  FriendAlbum = kKELOKind_FriendAlbum,
  RootAlbum = kKELOKind_RootAlbum,
  SharedAlbum = kKELOKind_SharedAlbum
};
constexpr std::uint32_t Bits(Kind kinds) { return static_cast<std::uint32_t>(kinds); }
constexpr Kind operator|(Kind a, Kind b) { return Kind{Bits(a) | Bits(b)}; }
constexpr Kind operator&(Kind a, Kind b) { return Kind{Bits(a) & Bits(b)}; }
constexpr Kind operator~(Kind kinds) { return Kind{~Bits(kinds)}; }
constexpr Kind& operator|=(Kind& a, Kind b) { return a = a | b; }
constexpr Kind& operator&=(Kind& a, Kind b) { return a = a & b; }
// Whether `kinds` has any of `wanted`.
constexpr bool Is(Kind kinds, Kind wanted) { return (kinds & wanted) != Kind::None; }

// A text of the service with its references resolved: the five entities, decimal and hexadecimal
// references, two of them where they are a surrogate pair. What is none, or stands for no character,
// stays as it is. Malformed UTF-8 becomes U+FFFD. `isCut`: the text fills its field, and what is left of a
// reference or a character at its end is dropped.
std::string Decoded(std::string_view raw, bool isCut = false);

// The text in a field of a record, never past its width.
template <std::size_t N>
std::string_view FieldText(const char (&field)[N]);

// What a result code means, e.g. "the connection was lost". `command` (kKELOCommand) gives the words
// that fit it where a code means something narrower there; 0 asks for the general ones.
std::string_view ResultWords(std::uint32_t code, std::uint32_t command = 0);

// What went wrong. what() is a whole sentence: "cannot open the session: the service does not know
// the key (4112)".
class Error : public std::runtime_error {
 public:
  Error(std::uint32_t code, std::uint32_t command);
  // The same with what could not be done in the host's words: "cannot <doing>: ...".
  Error(std::string_view doing, std::uint32_t code, std::uint32_t command);
  // Refused by this interface with words of its own; nothing was sent.
  Error(const std::string& words, std::uint32_t command);

  std::uint32_t Code() const { return code_; }        // kKELOResult
  std::uint32_t Command() const { return command_; }  // kKELOCommand; 0: the library did not start
  std::string_view Words() const;                     // without command and code

 private:
  Error(std::string_view doing, std::string_view words, std::uint32_t code, std::uint32_t command);

  std::uint32_t code_;
  std::uint32_t command_;
  std::size_t wordsBegin_;
  std::size_t wordsLength_;
};

// Values that a call reads while it runs: a vector, an array, a span, or a list in braces.
template <typename T>
class View : public std::span<const T> {
 public:
  using std::span<const T>::span;
  View(std::span<const T> values) : std::span<const T>(values) {}
  View(std::initializer_list<T> list) : std::span<const T>(list.begin(), list.size()) {}
};

struct Credentials {
  std::string apiKey{};         // 32 bytes at most, like the others
  std::string authToken{};
  std::string signingSecret{};  // signs every request
  std::uint32_t word = 0;       // handed on in the session, never interpreted
};

// An open session, to be kept and restored whole. It holds a secret: the token.
using Session = tagKELO_SessionInfo;

// Bytes stored, and bytes that may be stored.
struct Storage {
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;
};

// An entry of the catalogue.
struct Item {
  Item() = default;
  explicit Item(const tagKELO_ItemInfo& record);

  std::string id{};
  std::string parentId{};  // folder or album that holds it; empty for the root folder's children
  Kind kind = Kind::None;
  std::uint32_t fileFormat = 0;  // kKELOFormat, of file items
  std::uint32_t itemCount = 0;   // entries below, of folders and albums
  std::string name{};
  bool nameMayBeCut = false;  // it fills its 255 bytes: what was behind them is not told
  std::string modifyDate{};
  std::string shotDate{};
  std::string uploadDate{};
  std::string screenUrl{};    // image of screen size
  std::string originalUrl{};  // the file; empty after an upload until the account is loaded again

  // As the service wrote them. A name is cut to 255 bytes, here also inside a reference.
  struct Raw {
    std::string name{};
    std::string screenUrl{};
    std::string originalUrl{};
  } raw{};
};

// A folder or an album to be made.
struct NewContainer {
  std::string name{};  // 255 bytes at most
  Kind kind = Kind::Album;
};
struct AddedContainer {
  std::string id{};
  std::optional<Error> error{};
};

// What became of an item that was to be linked into an album.
struct AddedLink {
  std::optional<Error> error{};
};

// A file to be uploaded.
struct UploadFile {
  std::filesystem::path path{};
  std::string name{};  // empty: the last component of the path
  // Bytes to send. Not given: those of the file now. A file with size and date is not looked at
  // before it is sent; where it cannot be read then, or is shorter, the upload fails with
  // kKELOResult_NotFound.
  std::optional<std::uint64_t> size{};
  std::string modifyDate{};  // 31 bytes at most, like the others; empty: the file's
  std::string createDate{};  // empty: as modifyDate
  std::string shotDate{};
  std::uint32_t width = 0;  // pixels; 0: unknown
  std::uint32_t height = 0;
  std::string tags{};  // 903 bytes at most
};
struct UploadOptions {
  bool checkDuplicates = false;  // ask the service first which files it has already
  bool checkOnly = false;        // ask that, and send nothing
  std::uint32_t comparedDates =  // kKELOCheck bits: by which dates that is told
      kKELOCheck_FileModifyDate | kKELOCheck_FileCreateDate | kKELOCheck_ShotDate;
};
// What became of a file. One that is stored already has the error kKELOResult_AlreadyExists or
// kKELOResult_AlreadyInAlbum. With checkOnly, one that would be sent has neither id nor error.
struct UploadedFile {
  std::string id{};  // of the stored file, also of one that was; empty without error: not confirmed
  std::optional<Error> error{};
};

// An upload that failed as a whole.
class UploadError : public Error {
 public:
  UploadError(const Error& failure, std::vector<UploadedFile> files, bool mayBeStored);

  // The outcomes all the same: what the check had found, and what could not be read, has its own
  // error; the others have that of the upload.
  const std::vector<UploadedFile>& Files() const { return *files_; }
  // Whether those others may be stored nevertheless: something was sent, and the service did not clearly
  // refuse. An error without a code of its own is no clear refusal.
  bool MayBeStored() const { return mayBeStored_; }

 private:
  std::shared_ptr<const std::vector<UploadedFile>> files_;
  bool mayBeStored_;
};

// A file to be downloaded.
struct DownloadFile {
  std::string url{};             // as in Item; 255 bytes at most
  std::filesystem::path path{};  // nothing may exist there
};
struct DownloadedFile {
  std::uint32_t size = 0;  // bytes received; 0xFFFFFFFF for anything beyond
  std::optional<Error> error{};
};

// The edits of an item: those that are given.
struct Properties {
  std::optional<std::string> caption{};  // 319 bytes at most
  std::optional<bool> captionFlag{};
  std::optional<std::uint32_t> rating{};
};

struct Mail {
  // Mail addresses. Each ";" and "," separates two, so a text that has one comes back as several.
  std::vector<std::string> recipients{};
  std::string subject{};
  std::string text{};
  bool removeGps = false;  // take the position data out of the pictures
  bool verify = false;     // ask the service first which addresses it accepts, and leave out the rest
};
// Mail addresses as they were given, by what the service said to them.
struct Recipients {
  std::vector<std::string> accepted{};
  std::vector<std::string> rejected{};
};

// How far a transfer is. An upload tells of all files together, a download of one after the other.
struct Progress {
  bool isUpload = false;
  std::uint32_t done = 0;       // bytes: upload, of all files; download, of the present one
  std::uint32_t total = 0;      // likewise; 0: unknown
  std::uint32_t files = 0;      // of the command
  std::uint32_t filesDone = 0;  // of those; an upload's all at once, when it is answered
};

// Anything that can be called with a Progress, or an empty function: none. If it gives false, the
// call is aborted; one that gives nothing lets it go on. Called on the call's thread, and only while
// bytes move: who wants to end a call that stands still aborts it from another thread. What it throws
// aborts the call too, and comes out of it.
class OnProgress {
 public:
  OnProgress() = default;
  template <typename Callback>
    requires(!std::same_as<std::decay_t<Callback>, OnProgress> &&
             std::invocable<std::decay_t<Callback>&, const Progress&>)
  OnProgress(Callback&& callback);

  explicit operator bool() const { return call_ != nullptr; }
  bool operator()(const Progress& progress) const { return call_(progress); }

 private:
  std::function<bool(const Progress&)> call_;
};

// The library, from its initialisation to its end. There is one at a time in a process.
class Library {
 public:
  // Throws when there is another one, or memory runs out. `recordBudget` is in bytes: finished records
  // that are kept for Info.
  explicit Library(std::uint32_t recordBudget = 0);
  // Forgets everything and sends nothing: the session stays open unless Close was called. No call may
  // be running.
  virtual ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // ---- Session ----
  void Open(const Credentials& credentials);
  void Close();
  kelo::Session Session();  // throws kKELOResult_NotFound while there is none
  // Goes on with a session that was open. The account has to be loaded again. An empty secret leaves the
  // one that was used last.
  void Restore(kelo::Session session, std::string_view signingSecret);
  // Keeps a token from running out, also of a session that is not this one's. Throws where there is no
  // token, and tells nothing of what the service says: whether it lives shows in the next command.
  void ExtendToken(kelo::Session session, std::string_view signingSecret);
  Storage Capacity();

  // ---- Catalogue: in memory, as it was loaded. Targets are ids; KELOAccess.h says which kinds they
  // take, and others are kKELOResult_InvalidTarget. An account need not be a tree: a folder or an album may
  // stand below itself, so a walk from list to list must keep account of where it has been. ----
  void Load();
#ifdef __cpp_lib_jthread
  void Load(const std::stop_token& stop);  // as Upload with one
#endif
  std::uint32_t Count(std::string_view target, Kind kinds);
  std::vector<Item> List(std::string_view target, Kind kinds);
  Item Info(std::string_view id);
  // From the service, and with what it says alone: id, name, dates, URLs and format.
  Item FreshInfo(std::string_view id);
  // The same as records, with every text as the service wrote it.
  std::vector<tagKELO_ItemInfo> ListRecords(std::string_view target, Kind kinds);
  tagKELO_ItemInfo InfoRecord(std::string_view id, bool fresh = false);

  // ---- Edits. Outcomes stand in the order of what was given. ----
  // Each outcome has the id of what was made, or an error. Folders are made below kRoot only, albums in
  // it or in a folder. A failure that is no refusal by the service ends the batch, an abort too: those
  // behind it have the same error. The same holds for links.
  std::vector<AddedContainer> AddContainers(std::string_view parent, View<NewContainer> containers);
  // One of them, by its id; throws.
  std::string AddFolder(std::string_view name);
  std::string AddAlbum(std::string_view parent, std::string_view name);
  std::vector<AddedLink> AddLinks(std::string_view album, View<std::string> itemIds);
  void Modify(std::string_view id, const Properties& properties);
  // Adds tags (903 bytes at most) to an item, or to every item of an album.
  void AddTags(std::string_view id, std::string_view tags);

  // ---- Transfers ----
  // All files are sent in one request, so its failure is thrown, as UploadError: then none of them is
  // known to be stored. A file that cannot be read when the call begins has its error and stays behind;
  // so has one of 2 GiB or more. `album` may be empty: no album.
  std::vector<UploadedFile> Upload(std::string_view album, View<UploadFile> files,
                                   const UploadOptions& options = {},
                                   const OnProgress& progress = {});
#ifdef __cpp_lib_jthread
  // The same with a stop request, which aborts this call alone, even if it came before. So a
  // std::jthread that makes it ends soon.
  std::vector<UploadedFile> Upload(std::string_view album, View<UploadFile> files,
                                   const UploadOptions& options, const OnProgress& progress,
                                   const std::stop_token& stop);
#endif
  // One file after the other. A failure other than kKELOResult_NotFound, AlreadyExists and
  // DestinationUnusable ends the batch, an abort too: the files behind it have the same error.
  std::vector<DownloadedFile> Download(View<DownloadFile> files, const OnProgress& progress = {});
#ifdef __cpp_lib_jthread
  std::vector<DownloadedFile> Download(View<DownloadFile> files, const OnProgress& progress,
                                       const std::stop_token& stop);  // as Upload with one
#endif

  // ---- Sharing ----
  Recipients VerifyRecipients(View<std::string> addresses);
  std::vector<std::string> AddressList();
  // Shares the album. `rejected` of the answer were left out.
  Recipients SendMail(std::string_view album, const Mail& mail);

  // Ends the call that runs now, if any, with all that it would still send, and returns when its command
  // has ended; from inside a progress callback at once. A call that waits for it runs then. Any thread.
  void Abort() noexcept;

  // A command by its code and record, with the same turn and the same progress, for what the calls
  // above do not say. The result is kKELOResult; texts handed out are the caller's to free. All calls
  // but Abort come through here, so a host that overrides it can watch them, or send them again with
  // the same record: nothing of an earlier try is left in what the calls above then give, and each
  // folder, album, link and download has a command of its own, so that none is made twice.
  virtual std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                                const OnProgress& progress = {});

 private:
  class Turn;
  class Running;
  class ClearedRecord;

  // A command that is a part of another one's call, which its refusals name.
  std::uint32_t Ask(std::uint32_t code, tagCommandControlInfo* record, std::uint32_t call);
  void Send(std::uint32_t code, tagCommandControlInfo* record);  // throws unless it is success
  template <typename Batch>
  void SendEach(std::uint32_t code, std::string_view target, Batch& batch,
                const OnProgress& progress);
#ifdef __cpp_lib_jthread
  template <typename Call>
  auto Stoppable(const std::stop_token& stop, const Call& call);
#endif

  inline static std::atomic<bool> exists_ = false;
  std::recursive_mutex turn_;  // held by the thread whose call runs
  int turns_ = 0;              // of that thread, one in the other
  bool inCallback_ = false;    // of that thread
  const ClearedRecord* cleared_ = nullptr;  // of the running call
  // Beginnings and ends so far: odd while a call, or a command, runs.
  std::atomic<std::uint64_t> call_ = 0;
  std::atomic<std::uint64_t> command_ = 0;
  std::atomic<std::uint64_t> abortedFor_ = 0;  // the last call that was to end
  std::atomic<std::thread::id> thread_{};      // of the call
};

}  // namespace kelo

#include "KELOAccess/Library.hpp"  // the bodies
#include "KELOAccess/Transfers.hpp"

#endif  // C++20
#endif  // KELOACCESS_HPP
