// Call identifiers and signatures: what shows the service whose request it is, and that it is a new
// one. Free functions without state, safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelo {

// The call identifier after `last`: the milliseconds of the clock, or one more than `last` where
// the clock stands still, goes back, or shows a time before its reference date.
uint64_t NextCallId(uint64_t last, double secondsSinceReferenceDate);

// "keloSessToken=TOKEN&callId=ID": the query of a document before it is signed.
std::string SessionQuery(std::string_view token, uint64_t callId);

// `query` with its signature appended. What is signed is the secret, "?", the query and, where
// there is a document, a line end and the document. Nothing when the signature cannot be made.
std::optional<std::string> SignedQuery(std::string_view secret, std::string query,
                                       std::string_view document = {});

}  // namespace kelo
