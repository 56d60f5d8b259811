// Converting 1 MiB of text to references and back, beside what a host would write for it: ICU's
// normalizer both ways, its converter to ASCII with XML references, and a general XML parser.
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "Measure.h"
#include "text/XMLUtility.h"

namespace kelo::bench {
namespace {

// Milliseconds that are allowed, where there is a bound: 100 MiB a second for ASCII without markup,
// 30 for Japanese.
struct Sample {
  const char* name;
  std::string_view piece;
  bool comesBack;
  double msBound = 0;
};
constexpr Sample kSamples[] = {
    {"ASCII", "A day at the lake, DSC01234.JPG; ", true, 10},
    {"markup", "<a href=\"x\">R&D</a>\r\n", true},
    {"Japanese",
     "\u6771\u4EAC\u306E\u6625\u3001\u685C\u304C\u54B2\u304F\u3002\u30D1\u30FC\u30C6\u30A3\u30FC",
     true, 1000.0 / 30},
    {"decomposed", "e\u0301te\u0301 \u304B\u3099 ", false},
};

class Plain {
 public:
  Plain() {
    UErrorCode status = U_ZERO_ERROR;
    nfc_ = icu::Normalizer2::getNFCInstance(status);
    ascii_ = ucnv_open("US-ASCII", &status);
    ucnv_setFromUCallBack(ascii_, UCNV_FROM_U_CALLBACK_ESCAPE, UCNV_ESCAPE_XML_DEC, nullptr,
                          nullptr, &status);
    if (U_FAILURE(status)) std::abort();
  }
  Plain(const Plain&) = delete;
  Plain& operator=(const Plain&) = delete;
  ~Plain() { ucnv_close(ascii_); }

  std::string ToReferences(const std::string& text) {
    icu::UnicodeString escaped;
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString composed = nfc_->normalize(icu::UnicodeString::fromUTF8(text), status);
    for (int32_t i = 0; i < composed.length(); ++i) Escape(composed[i], escaped);
    std::string out;
    out.resize(static_cast<std::size_t>(escaped.length()) * 8);
    const int32_t length = ucnv_fromUChars(ascii_, out.data(), static_cast<int32_t>(out.size()),
                                           escaped.getBuffer(), escaped.length(), &status);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return out;
  }

  std::string FromReferences(const std::string& encoded) {
    pugi::xml_document document;
    document.load_string(("<t>" + encoded + "</t>").c_str(), pugi::parse_full);
    std::string out;
    icu::StringByteSink<std::string> sink(&out, static_cast<int32_t>(encoded.size()));
    UErrorCode status = U_ZERO_ERROR;
    nfc_->normalizeUTF8(0, document.child("t").text().get(), sink, nullptr, status);
    return out;
  }

 private:
  static void Escape(char16_t unit, icu::UnicodeString& out) {
    switch (unit) {
      case u'&':
        out.append(u"&amp;", 5);
        break;
      case u'"':
        out.append(u"&quot;", 6);
        break;
      case u'<':
        out.append(u"&lt;", 4);
        break;
      case u'>':
        out.append(u"&gt;", 4);
        break;
      case u'\r':
        out.append(u"&#13;", 5);
        break;
      case u'\n':
        out.append(u"&#10;", 5);
        break;
      default:
        out.append(unit);
    }
  }

  const icu::Normalizer2* nfc_ = nullptr;
  UConverter* ascii_ = nullptr;
};

// Argument: the sample.
template <bool kTo, bool kFrom>
void Convert(benchmark::State& state) {
  const Sample& sample = kSamples[state.range(0)];
  state.SetLabel(sample.name);
  const std::size_t size = Sized(1 << 20, 1 << 10);
  std::string text;
  while (text.size() < size) text += sample.piece;
  Plain plain;
  std::string encoded;
  std::string out;
  std::string plainEncoded = plain.ToReferences(text);
  std::string plainOut;
  const auto to = [&] {
    if (XMLUtility().ConvertStringUTF8ToReference(text, encoded) != 1)
      state.SkipWithError("not converted");
  };
  const auto work = [&] {
    if (kTo) to();
    if (kFrom && XMLUtility().ConvertStringReferenceToUTF8(encoded, out) != 1)
      state.SkipWithError("not converted");
  };
  const auto yardstick = [&] {
    if (kTo) plainEncoded = plain.ToReferences(text);
    if (kFrom) plainOut = plain.FromReferences(plainEncoded);
  };
  to();
  Compare(state, kTo ? 1.0 : 2.5, work, yardstick, kProcessorTime);
  if (sample.msBound > 0) TellBounded(state, "ms", state.counters["ours_ms"], sample.msBound);
  if (encoded != plainEncoded) state.SkipWithError("the two have encoded differently");
  if (kFrom && out != plainOut) state.SkipWithError("the two have decoded differently");
  if (kFrom && sample.comesBack && out != text) state.SkipWithError("the text came back changed");
}

#define KELO_CONVERT(name, to, from)                             \
  BENCHMARK(Convert<to, from>)                                   \
      ->Name(name)                                               \
      ->ArgName("text")                                          \
      ->DenseRange(0, static_cast<int>(std::size(kSamples)) - 1) \
      ->UseManualTime()                                          \
      ->Iterations(Sized(51, 1))

KELO_CONVERT("ToReferences", true, false);
KELO_CONVERT("FromReferences", false, true);
KELO_CONVERT("ThereAndBack", true, true);

}  // namespace
}  // namespace kelo::bench
