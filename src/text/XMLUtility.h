// Carries texts across the XML boundary, and cuts values out of answers by search.
//
// Results are 1 (found, converted) or 0. Where a failing operation clears its output and where it
// leaves what the caller had put there differs deliberately and is said at each. An output may be
// the very string (or hold the very string) that is searched. Texts are byte strings in UTF-8.
//
// Any thread; no state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelo {

class XMLUtility {
 public:
  virtual ~XMLUtility() = default;

  // ---- References. Each clears `out` on failure and for an empty input. ----

  // UTF-8 to pure ASCII XML text, composed (Normalization Form C): markup, CR and LF as entities,
  // each UTF-16 unit from 128 on as a decimal reference. The text ends at its first zero byte.
  // 0 for invalid UTF-8.
  uint32_t ConvertStringUTF8ToReference(std::string_view text, std::string& out) const;
  // Back to composed UTF-8: character references first, then entities. 0 for a lone surrogate or
  // invalid UTF-8.
  uint32_t ConvertStringReferenceToUTF8(std::string_view text, std::string& out) const;
  uint32_t ConvertStringUTF8ToEntityReference(std::string_view text, std::string& out) const;

  // ==== No command reaches what follows: the service's answers are read by XMLElements.h. ====

  uint32_t ConvertStringEntityReferenceToUTF8(std::string_view text, std::string& out) const;
  uint32_t ConvertStringUTF8ToCharacterReference(std::string_view text, std::string& out) const;
  uint32_t ConvertStringCharacterReferenceToUTF8(std::string_view text, std::string& out) const;

  // The source is searched as plain bytes, exactly and case-sensitively, with no regard for white
  // space, comments, quoting or nesting. An empty key finds nothing.

  // ---- One value ----

  // The text between the first start key and the last end key behind it. `out` is untouched when
  // the source is empty or shorter than both keys, and empty after any other failure.
  uint32_t GetValueForOutermostKey(std::string_view source, std::string_view start,
                                   std::string_view end, std::string& out) const;
  // The same between "<tag>" and "</tag>"; `out` is empty after every failure.
  uint32_t GetValueForOutermostTag(std::string_view source, std::string_view tag,
                                   std::string& out) const;
  // The text between the first start key and the next end key. Deliberately, without a start key it
  // is the text from the beginning of the source. `out` is empty after a failure.
  uint32_t GetValuesInsideKey(std::string_view source, std::string_view start, std::string_view end,
                              std::string& out) const;
  // The raw value of the first `name="..."`. For an absent attribute: 1 and the text up to the
  // first quote, or 0 without any quote. "id" also finds `albumid="`. `out` is untouched when
  // source or name is empty.
  uint32_t GetAttribute(std::string_view source, std::string_view name, std::string& out) const;
  // The content of the first CDATA section, or the empty text.
  void GetValueInsideCDATA(std::string_view source, std::string& out) const;

  // ---- Every value, in order, without overlaps ----

  // Appends each text between a start key and the next end key; keeps what `out` held.
  void GetValuesInsideKeys(std::string_view source, std::string_view start, std::string_view end,
                           std::vector<std::string>& out) const;
  // The same between "<tag>" and "</tag>"; clears `out` first.
  void GetValuesForTag(std::string_view source, std::string_view tag,
                       std::vector<std::string>& out) const;
  // The values of every `name="..."`; clears `out` first.
  void GetAttributes(std::string_view source, std::string_view name,
                     std::vector<std::string>& out) const;
  // Appends each stretch from a start key to the next end key, both included; keeps what `out`
  // held.
  void GetValuesBetweenKeys(std::string_view source, std::string_view start, std::string_view end,
                            std::vector<std::string>& out) const;
  // The whole text of each element that carries attributes ("<tag " to "</tag>"); clears `out`
  // first.
  void GetValuesWithElement(std::string_view source, std::string_view tag,
                            std::vector<std::string>& out) const;

  // Replaces each `search`; replaced text is never searched again. An empty search gives the empty
  // text. Linear in the source and the result.
  void ReplaceAllString(std::string_view source, std::string_view search,
                        std::string_view replacement, std::string& out) const;
};

}  // namespace kelo
