// Writes an account as one JSON document, for the page and for `ctl account`.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

#include "devservice/store/Store.h"

namespace kelo::devservice {

// Everything that the account holds, and the ids and addresses of all: address, storage, folders,
// albums, the friends' albums, every item once, mails and contacts. Folders name their albums and
// albums their items by id. Texts are as stored: write them out with an error handler, for a name
// on disk need not be UTF-8.
nlohmann::ordered_json AccountJson(Store& store, AccountId account, std::uint64_t quotaBytes);

}  // namespace kelo::devservice
