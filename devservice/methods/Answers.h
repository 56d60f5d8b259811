// The answer documents: attributes as references, so that every answer is ASCII.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "devservice/protocol/ServiceError.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {

// Which attributes of an item a listing asked for.
struct ItemAttributes {
  bool format = true;
  bool name = true;
  bool original = true;
  bool screen = true;
  bool shotDate = true;
  bool uploadDate = true;
  bool modifyDate = true;
};

void AppendAttribute(std::string& out, std::string_view name, std::string_view utf8);
void AppendAttribute(std::string& out, std::string_view name, std::uint64_t number);

// The attributes of an item, each after a blank.
void AppendItemAttributes(std::string& out, const Item& item, const ItemAttributes& wanted,
                          const std::string& downloadUrl);

// A whole answer: stat="ok", further attributes (each after a blank), content.
std::string OkAnswer(std::string_view attributes = {}, std::string_view content = {});

std::string FailAnswer(const ServiceError& error);

}  // namespace kelo::devservice
