// Recognises files by their bytes: those that the account holds need no question, and those that
// the service takes for something else are seen. It stands on what this machine remembers; where
// that is nothing, the service's check decides alone.
#pragma once

#include <functional>
#include <future>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/account/AccountItems.h"
#include "host/memory/Memory.h"
#include "host/upload/File.h"

namespace kelo::host {

// Whether a file of this name (or of one that it stands for), size and date, but with other bytes,
// is among them.
bool HasOtherBytes(const std::set<UnansweredFile>& files, const File& file);

class Recognition {
 public:
  // `loaded` gives the library with the account loaded, where it must be anew; it is asked only
  // when some file's bytes are known, or in doubt. What it throws, Recognise throws for those
  // files: nobody knows whether they are there. `digestOf` downloads an item for the digest of its
  // bytes; empty: the service has none for it. May throw Error.
  Recognition(Memory& memory, std::function<Library&(bool anew)> loaded,
              std::function<std::string(const std::string& id)> digestOf);

  // Names, for each file that is undecided and has none yet, the item of the account that has its
  // bytes and a name for them, if one is known from an earlier run. A file without a digest is
  // known while its stamp is what it was then; it is not opened.
  void Recognise(const Files& files);
  // These files will be recognised. If one is known by its path, another thread loads the account
  // until then.
  void Expect(const std::vector<File>& files);
  // Whether the item that it names is in the album.
  bool IsInAlbum(const File& file, const std::string& albumId);

  // The service has taken the file for the item that it names. False if that item has other bytes;
  // the file is then to be sent as a new one. Where nobody knows an item's bytes, it is believed,
  // unless it was taken for another file already, or may be what set out with other bytes and had
  // no answer: then it is downloaded, and so are others of its name. May throw Error.
  bool IsMeant(File& file);
  // The account holds the picture of this memo, and the service is never asked about memos. Names
  // the memo's item: that with its name and bytes, or else one of its name in the picture's album.
  // False if there is none, or if the memo has changed since it was sent; it is then to be sent
  // alone. May throw Error.
  bool IsThereToo(File& memo, const std::string& picture);

  // These files leave now. Should this run end before it knows what became of them, the next one
  // knows which bytes they had.
  void SetOut(const Files& files);
  // Finds those that a request without an answer has stored: in the album where they went, among
  // the items of their names that nobody knew before, by their bytes. They are kStored then, the
  // others as they were. Throws Error where the account cannot be loaded anew, or an item not be
  // downloaded.
  void FindStored(const Files& files, const std::string& albumId);

  // Whether this run has stored the item.
  bool IsOfThisRun(const std::string& id) const { return isOfThisRun_.contains(id); }

  // What became of decided files, for the runs to come. A stored file that has other bytes by then
  // changed while it was sent.
  void Keep(const Files& files);

 private:
  bool HasBytesOf(const std::string& id, File& file);
  // Whether the item is in the account and called like the file; one that is the file's own may be
  // called otherwise. If so, names it.
  bool Take(File& file, const std::string& id, bool isOwn);
  // What the memory says of the file: its digest, and the item that it was and still has its bytes.
  void Recall(File& file);
  // Whether that, or else another one with its bytes, is an item of the account.
  void Confirm(File& file);
  // Names the item of the file's name with its bytes; false if there is none.
  bool FindByBytes(File& file);
  // Downloads the item, unless its bytes are known for certain.
  std::string Learn(const std::string& id);
  // Whether an earlier run has sent such a file, and had no answer.
  bool MayHaveCome(const File& file) const;
  static bool IsAsItWas(File& file);
  void DropUnanswered(const File& file);
  void Keep(const File& file);
  AccountItems* Account();  // null: it could not be loaded, for this reason
  std::optional<Error> failure_;

  Memory& memory_;
  const std::function<Library&(bool anew)> loaded_;
  const std::function<std::string(const std::string& id)> digestOf_;
  std::future<Library*> loading_;
  std::optional<AccountItems> account_;
  std::unordered_set<std::string> isOfThisRun_;            // ids of what it has stored
  std::unordered_set<std::string> learnt_;                 // ids of what it has downloaded
  std::unordered_map<std::string, std::string> believed_;  // digests, by the ids taken for them
  std::set<UnansweredFile> earlier_;                       // of earlier runs
  std::set<UnansweredFile> unanswered_;                    // and of this one
};

}  // namespace kelo::host
