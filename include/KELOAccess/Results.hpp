// Part of KELOAccess.hpp. Errors: result codes with their words.
#ifndef KELOACCESS_RESULTS_HPP
#define KELOACCESS_RESULTS_HPP

#include "KELOAccess/Words.h"

namespace kelo {
namespace detail {

// Throws unless the code is success.
inline void Check(std::uint32_t code, std::uint32_t command) {
  if (code != kKELOResult_Success) throw Error(code, command);
}

}  // namespace detail

inline std::string_view ResultWords(std::uint32_t code, std::uint32_t command) {
  return KELOResultWords(code, command);
}

inline Error::Error(std::string_view doing, std::string_view words, std::uint32_t code,
                    std::uint32_t command)
    : std::runtime_error("cannot " + std::string(doing) + ": " + std::string(words) + " (" +
                         std::to_string(code) + ")"),
      code_(code),
      command_(command),
      wordsBegin_(std::string_view("cannot : ").size() + doing.size()),
      wordsLength_(words.size()) {}

inline Error::Error(std::string_view doing, std::uint32_t code, std::uint32_t command)
    : Error(doing, ResultWords(code, command), code, command) {}

inline Error::Error(std::uint32_t code, std::uint32_t command)
    : Error(KELOCommandWords(command), code, command) {}

inline Error::Error(const std::string& words, std::uint32_t command)
    : Error(KELOCommandWords(command), words, kKELOResult_BadParameter, command) {}

inline std::string_view Error::Words() const {
  return std::string_view(what()).substr(wordsBegin_, wordsLength_);
}

}  // namespace kelo

#endif  // KELOACCESS_RESULTS_HPP
