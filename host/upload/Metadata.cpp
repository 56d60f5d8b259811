// Reads what a picture says in words, and edits its item as 'kelo caption', 'rate' and 'tag' do.
#include "host/upload/Metadata.h"

#include <fmt/format.h>

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <utility>

#include "host/library/Digest.h"
#include "host/library/Interrupt.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/upload/Pictures.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

// As many bytes as the library takes.
constexpr size_t kMaxCaption = 319;
constexpr size_t kMaxTags = 903;

struct Words {
  const File* file = nullptr;
  Properties properties{};  // the caption and the rating
  std::string tags{};
  std::string digest{};  // of all that the item is to have
  bool isCut = false;
};

bool IsText(const std::string& text) {
  std::string scratch;
  return text.find_first_not_of(" \t\r\n") != text.npos && ComposeUtf8(text, scratch).data();
}

// All texts under a key, of which there may be several in either way.
template <typename Key, typename Data>
std::vector<std::string> TextsOf(const Data& data, const std::string& key) {
  std::vector<std::string> texts;
  for (const auto& one : data) {
    if (one.key() != key) continue;
    if (!std::is_same_v<Key, Exiv2::XmpKey>)
      texts.push_back(one.toString());
    else
      for (decltype(one.count()) at = 0; at < one.count(); ++at) texts.push_back(one.toString(at));
  }
  std::erase_if(texts, [](const std::string& text) { return !IsText(text); });
  return texts;
}

std::vector<std::string> TextsOf(const Exiv2::Image& picture, const std::string& key) {
  if (key.starts_with("Exif")) return TextsOf<Exiv2::ExifKey>(picture.exifData(), key);
  if (key.starts_with("Xmp")) return TextsOf<Exiv2::XmpKey>(picture.xmpData(), key);
  return TextsOf<Exiv2::IptcKey>(picture.iptcData(), key);
}

std::string FirstOf(const Exiv2::Image& picture, std::initializer_list<const char*> keys) {
  for (const char* key : keys)
    if (const auto texts = TextsOf(picture, key); !texts.empty()) return texts.front();
  return {};
}

void AddCaption(Words& words, std::string caption) {
  if (caption.empty()) return;
  words.isCut |= caption.size() > kMaxCaption;
  if (caption.size() > kMaxCaption) {
    size_t end = kMaxCaption;
    while (end > 0 && (caption[end] & 0xC0) == 0x80) --end;  // not inside a character
    caption.resize(end);
  }
  words.properties.caption = std::move(caption);
  words.properties.captionFlag = true;
}

// 0 means no rating, and less than that rejected. Neither is brought.
void AddRating(Words& words, const std::string& rating) {
  if (rating.size() == 1 && rating[0] >= '1' && rating[0] <= '5')
    words.properties.rating = static_cast<std::uint32_t>(rating[0] - '0');
}

void AddKeywords(Words& words, std::vector<std::string> keywords) {
  std::vector<std::string> added;
  for (std::string& keyword : keywords) {
    std::ranges::replace(keyword, ',', ' ');  // it stands between tags
    if (std::ranges::find(added, keyword) != added.end()) continue;
    if (words.tags.size() + 1 + keyword.size() > kMaxTags) {
      words.isCut = true;
      continue;
    }
    words.tags += (words.tags.empty() ? "" : ",") + keyword;
    added.push_back(std::move(keyword));
  }
}

Words WordsOf(const File& file, const WantedMetadata& wanted) {
  Words words{.file = &file, .tags = wanted.tags};
  if (wanted.ofPictures && Interrupt::Signal() == 0)
    ReadPicture(file, [&words](const Exiv2::Image& picture) {
      AddCaption(words, FirstOf(picture, {"Iptc.Application2.Caption", "Xmp.dc.description",
                                          "Exif.Image.ImageDescription"}));
      AddRating(words, FirstOf(picture, {"Xmp.xmp.Rating", "Exif.Image.Rating"}));
      std::vector<std::string> keywords = TextsOf(picture, "Iptc.Application2.Keywords");
      for (std::string& one : TextsOf(picture, "Xmp.dc.subject"))
        keywords.push_back(std::move(one));
      AddKeywords(words, std::move(keywords));
    });
  const Properties& properties = words.properties;
  words.digest = Sha256(fmt::format("{}{}{}{}{}", properties.rating.value_or(0), '\0', words.tags,
                                    '\0', properties.caption.value_or("")));
  if (file.outcome == UploadOutcome::kStored && !wanted.tags.empty())
    words.tags.erase(0, wanted.tags.size() + 1);  // with the comma
  return words;
}

bool HasProperties(const Words& words) {
  return words.properties.caption || words.properties.rating;
}

bool IsNothing(const Words& words) {
  return !HasProperties(words) && words.tags.empty();
}

bool Loads(Output& out, Library& library) {
  try {
    library.Load();
    return true;
  } catch (const Error& failure) {
    if (failure.Code() == kKELOResult_Aborted) throw;
    out.Problem(Sentence(failure));
    return false;
  }
}

// To how many.
size_t Bring(Output& out, Library& library, Memory& memory, const std::vector<Words>& all) {
  size_t brought = 0;
  for (const Words& one : all) {
    const std::string path = Shown(one.file->path);
    try {
      if (HasProperties(one)) library.Modify(one.file->itemId, one.properties);
      if (!one.tags.empty()) library.AddTags(one.file->itemId, one.tags);
      memory.KeepBrought(one.file->itemId, one.digest);
      ++brought;
      if (one.isCut) out.Note(path + ": its caption or keywords are too long, and were cut");
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      out.Problem(fmt::format("{}: its metadata were not brought to its item: {}", path,
                              ResultText(failure.Code(), failure.Command())));
      if (failure.Code() == kKELOResult_NoSession) break;  // as would all others
    }
  }
  return brought;
}

}  // namespace

bool BringMetadata(Output& out, Library& library, Memory& memory, const UploadPlan& plan,
                   const WantedMetadata& wanted) {
  if (!wanted.ofPictures && wanted.tags.empty()) return true;
  std::vector<Words> all;
  for (const File* file : plan.files) {
    if (!file->Held() || file->itemId.empty()) continue;
    Words words = WordsOf(*file, wanted);
    if (!IsNothing(words) && memory.BroughtTo(file->itemId) != words.digest)
      all.push_back(std::move(words));
    else if (file->outcome == UploadOutcome::kStored)  // it came with the file
      memory.KeepBrought(file->itemId, words.digest);
  }
  // Tags are only added to what is in the catalogue, which does not know the new items yet.
  const bool hasTags = std::ranges::any_of(all, [](const Words& one) { return !one.tags.empty(); });
  const size_t brought = hasTags && !Loads(out, library) ? 0 : Bring(out, library, memory, all);
  out.Count("metadataBrought", brought);
  out.Count("metadataFailed", all.size() - brought);
  const std::string files = CountText(brought, "file");
  if (wanted.ofPictures)
    out.Note(fmt::format("metadata of {} brought to their items", files));
  else if (brought > 0)
    out.Note(fmt::format("tags added to the items of {} already there", files));
  return brought == all.size();
}

}  // namespace kelo::host
