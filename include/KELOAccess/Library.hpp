// Part of KELOAccess.hpp. The commands but uploads and downloads, each over its cleared record.
#ifndef KELOACCESS_LIBRARY_HPP
#define KELOACCESS_LIBRARY_HPP

#include "KELOAccess/Sending.hpp"

namespace kelo {

// ---- Session ----

inline void Library::Open(const Credentials& credentials) {
  constexpr std::uint32_t kCommand = kKELOCommand_OpenSession;
  tagKELO_OpenSessionInfo parameters{};
  parameters.word = credentials.word;
  tagCommandControlInfo record = detail::Record(&parameters);
  detail::Put(record.apiKey, credentials.apiKey, {"API key", kCommand});
  detail::Put(record.authToken, credentials.authToken, {"authentication token", kCommand});
  detail::Put(record.signingSecret, credentials.signingSecret, {"signing secret", kCommand});
  Send(kCommand, &record);
}

inline void Library::Close() {
  Send(kKELOCommand_CloseSession, nullptr);
}

inline kelo::Session Library::Session() {
  kelo::Session session{};
  tagCommandControlInfo record = detail::Record(&session);
  Send(kKELOCommand_GetSessionInfo, &record);
  return session;
}

inline void Library::Restore(kelo::Session session, std::string_view signingSecret) {
  tagCommandControlInfo record = detail::Record(&session);
  detail::Put(record.signingSecret, signingSecret, {"signing secret", kKELOCommand_SetSessionInfo});
  Send(kKELOCommand_SetSessionInfo, &record);
}

inline void Library::ExtendToken(kelo::Session session, std::string_view signingSecret) {
  constexpr std::uint32_t kCommand = kKELOCommand_ExtendTokenLimit;
  tagCommandControlInfo record = detail::Record(&session);
  detail::Put(record.signingSecret, signingSecret, {"signing secret", kCommand});
  Send(kCommand, &record);
}

inline Storage Library::Capacity() {
  tagKELO_StorageCapacityInfo capacity{};
  tagCommandControlInfo record = detail::Record(&capacity);
  Send(kKELOCommand_GetStorageCapacity, &record);
  // What the service refuses stands only here.
  detail::Check(capacity.result, kKELOCommand_GetStorageCapacity);
  return {capacity.dataCapacity, capacity.storageCapacity};
}

// ---- Catalogue ----

inline void Library::Load() {
  Send(kKELOCommand_LoadHierarchy, nullptr);
}

#ifdef __cpp_lib_jthread
inline void Library::Load(const std::stop_token& stop) {
  Stoppable(stop, [&] { Load(); });
}
#endif

inline std::uint32_t Library::Count(std::string_view target, Kind kinds) {
  std::uint32_t count = 0;
  tagCommandControlInfo record = detail::Targeted(target, &count, kKELOCommand_GetItemsCount);
  record.selectionFlags = Bits(kinds);
  Send(kKELOCommand_GetItemsCount, &record);
  return count;
}

inline std::vector<tagKELO_ItemInfo> Library::ListRecords(std::string_view target, Kind kinds) {
  constexpr std::uint32_t kCommand = kKELOCommand_GetItemsList;
  const Turn turn(*this);  // nothing may come between the two
  std::uint32_t count = 0;
  tagCommandControlInfo record = detail::Targeted(target, &count, kCommand);
  record.selectionFlags = Bits(kinds);
  detail::Check(Ask(kKELOCommand_GetItemsCount, &record, kCommand), kCommand);
  std::vector<tagKELO_ItemInfo> items(count);
  if (items.empty()) return items;
  record.data = items.data();
  record.entryCount = count;
  Send(kCommand, &record);
  return items;
}

inline std::vector<Item> Library::List(std::string_view target, Kind kinds) {
  const std::vector<tagKELO_ItemInfo> records = ListRecords(target, kinds);
  return std::vector<Item>(records.begin(), records.end());
}

inline tagKELO_ItemInfo Library::InfoRecord(std::string_view id, bool fresh) {
  tagKELO_ItemInfo item{};
  tagCommandControlInfo record = detail::Targeted(id, &item, kKELOCommand_GetItemInfo);
  if (fresh) record.outputOptions = kKELOOption_AskService;
  Send(kKELOCommand_GetItemInfo, &record);
  return item;
}

inline Item Library::Info(std::string_view id) {
  return Item(InfoRecord(id));
}

inline Item Library::FreshInfo(std::string_view id) {
  return Item(InfoRecord(id, true));
}

// ---- Edits ----

inline std::vector<AddedContainer> Library::AddContainers(std::string_view parent,
                                                          View<NewContainer> containers) {
  constexpr std::uint32_t kCommand = kKELOCommand_AddItems;
  detail::Batch<tagKELO_ItemInfo, AddedContainer> batch;
  for (const NewContainer& container : containers)
    batch.Add([&](tagKELO_ItemInfo& record) {
      record.kind = Bits(container.kind);
      detail::Put(record.name, container.name, {"name", kCommand});
    });
  SendEach(kCommand, parent, batch, {});
  return batch.Outcomes(kCommand, [](const tagKELO_ItemInfo& record, AddedContainer& added) {
    if (record.result == kKELOResult_Success) added.id = FieldText(record.itemId);
  });
}

inline std::string Library::AddFolder(std::string_view name) {
  const AddedContainer added = AddContainers(kRoot, {{std::string(name), Kind::Folder}}).front();
  if (added.error) throw Error(*added.error);
  return added.id;
}

inline std::string Library::AddAlbum(std::string_view parent, std::string_view name) {
  const AddedContainer added = AddContainers(parent, {{std::string(name), Kind::Album}}).front();
  if (added.error) throw Error(*added.error);
  return added.id;
}

inline std::vector<AddedLink> Library::AddLinks(std::string_view album, View<std::string> itemIds) {
  constexpr std::uint32_t kCommand = kKELOCommand_AddNewLink;
  detail::Batch<tagKELO_AddLinkInfo, AddedLink> batch;
  for (const std::string& id : itemIds)
    batch.Add(
        [&](tagKELO_AddLinkInfo& record) { detail::PutId(record.itemIdList, id, kCommand); });
  SendEach(kCommand, album, batch, {});
  return batch.Outcomes(kCommand, [](const tagKELO_AddLinkInfo&, AddedLink&) {});
}

inline void Library::Modify(std::string_view id, const Properties& properties) {
  constexpr std::uint32_t kCommand = kKELOCommand_ModifyProps;
  tagKELO_PropertyInfo edits{};
  if (properties.caption) {
    edits.propertyMask |= kKELOProperty_Caption;
    detail::Put(edits.caption, *properties.caption, {"caption", kCommand});
  }
  if (properties.captionFlag) {
    edits.propertyMask |= kKELOProperty_CaptionFlag;
    edits.captionFlag = *properties.captionFlag ? 1 : 0;
  }
  if (properties.rating) {
    edits.propertyMask |= kKELOProperty_Rating;
    edits.rating = *properties.rating;
  }
  if (edits.propertyMask == 0) throw Error("no property is given", kCommand);
  tagCommandControlInfo record = detail::Targeted(id, &edits, kCommand);
  Send(kCommand, &record);
}

inline void Library::AddTags(std::string_view id, std::string_view tags) {
  constexpr std::uint32_t kCommand = kKELOCommand_AddTags;
  const Turn turn(*this);
  tagKELO_TagInfo text{};
  detail::Put(text.text, tags, {"tag list", kCommand});
  tagKELO_ItemInfo item{};
  tagCommandControlInfo record = detail::Targeted(id, &item, kCommand);
  std::uint32_t known = Ask(kKELOCommand_GetItemInfo, &record, kCommand);
  if (known == kKELOResult_BadParameter) known = kKELOResult_InvalidTarget;  // it is no item
  detail::Check(known, kCommand);
  const auto kind = static_cast<Kind>(item.kind);
  record.data = &text;
  record.selectionFlags = Is(kind, Kind::FileItem) ? kKELOTagTarget_FileItem
                          : Is(kind, Kind::Album)  ? kKELOTagTarget_Album
                                                   : kKELOTagTarget_RootAlbum;
  Send(kCommand, &record);
}

// ---- Sharing ----

inline Recipients Library::VerifyRecipients(View<std::string> addresses) {
  constexpr std::uint32_t kCommand = kKELOCommand_VerifyRecipient;
  const std::string list = detail::JoinAddresses(addresses);
  detail::RequireTexts(kCommand, "address list", {list});
  tagKELO_RecipientInfo lists{};
  lists.recipients = detail::Lent(list);
  tagCommandControlInfo record = detail::Record(&lists);
  record.outputOptions = kKELOOption_ReturnTexts;
  detail::HandedText accepted(lists.accepted);
  detail::HandedText rejected(lists.rejected);
  const ClearedRecord cleared(*this, record, [&] { accepted.Free(), rejected.Free(); });
  const std::uint32_t result = Command(kCommand, &record);
  if (result != kKELOResult_RecipientsRejected) detail::Check(result, kCommand);
  return {detail::SplitAddresses(accepted.Text()), detail::SplitAddresses(rejected.Text())};
}

inline std::vector<std::string> Library::AddressList() {
  tagKELO_StringInfo list{};
  tagCommandControlInfo record = detail::Record(&list);
  detail::HandedText text(list);
  const ClearedRecord cleared(*this, record, [&] { text.Free(); });
  Send(kKELOCommand_GetAddressList, &record);
  // Resolved first: the ";" of a reference separates nothing.
  return detail::SplitAddresses(Decoded(text.Text()));
}

inline Recipients Library::SendMail(std::string_view album, const Mail& mail) {
  constexpr std::uint32_t kCommand = kKELOCommand_SendPictureMail;
  if (album.empty()) throw Error("no album is given", kCommand);
  const std::string list = detail::JoinAddresses(mail.recipients);
  detail::RequireTexts(kCommand, "address list", {list});
  detail::RequireTexts(kCommand, "text", {mail.subject, mail.text});
  tagKELO_PictureMailInfo letter{};
  letter.recipients = detail::Lent(list);
  letter.subject = detail::Lent(mail.subject);
  letter.body = detail::Lent(mail.text);
  letter.removeGPS = mail.removeGps ? 1 : 0;
  tagCommandControlInfo record = detail::Targeted(album, &letter, kCommand);
  if (mail.verify) record.outputOptions = kKELOOption_VerifyRecipients | kKELOOption_ReturnTexts;
  detail::HandedText accepted(letter.accepted);
  detail::HandedText rejected(letter.rejected);
  const ClearedRecord cleared(*this, record, [&] { accepted.Free(), rejected.Free(); });
  Send(kCommand, &record);
  if (!mail.verify) return {detail::SplitAddresses(list), {}};
  return {detail::SplitAddresses(accepted.Text()), detail::SplitAddresses(rejected.Text())};
}

}  // namespace kelo

#endif  // KELOACCESS_LIBRARY_HPP
