// Texts of the service: references, and nothing else than the prescribed document layout.
#include <gtest/gtest.h>

#include "devservice/References.h"
#include "devservice/RequestDocument.h"

namespace kelo::devservice {
namespace {

TEST(References, ConvertBothWays) {
  struct Case {
    std::string text;
    std::string references;
  };
  const Case cases[] = {
      {"a<b & \"c\" 'd'>", "a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;"},
      {"caf\xC3\xA9\r\n", "caf&#233;&#13;&#10;"},
      {"\xE6\xA1\x9C", "&#26716;"},
      {"\xF0\x9F\x98\x80", "&#55357;&#56832;"},
      {"", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(EncodeReferences(c.text), c.references) << c.text;
    EXPECT_EQ(DecodeReferences(c.references), c.text) << c.references;
  }
}

TEST(References, RefuseWhatIsNotText) {
  for (const char* bad : {"&", "&unknown;", "&#;", "&#12", "&#x;", "&#55357;", "&#56832;&#55357;",
                          "&#1114112;", "\xFF", "\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    EXPECT_EQ(DecodeReferences(bad), std::nullopt) << bad;
  }
  EXPECT_EQ(DecodeReferences("&#x41;"), "A");
}

TEST(RequestDocument, TakesThePrescribedLayoutOnly) {
  const std::string head =
      "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n<?protocol "
      "version=\"KELO-API/XML-R/1.0\"?>\r\n";
  struct Case {
    std::string document;
    bool good;
  };
  const Case cases[] = {
      {head + "<M />\r\n", true},
      {head + "<M a=\"&lt;&#233;\" b=\"\" />\r\n", true},
      {head + "<M>\r\n<items>\r\n<item idx=\"1\" />\r\n</items>\r\n</M>\r\n", true},
      {head + "<ModifyProps itemIdList=\"x\">\r\n</ModifyProps>", true},
      {head + "<VerifyRecipients recipientList=\"mailto:A &amp; B &lt;a@b&gt;\" />\r\n", true},
      {head + "<VerifyRecipients recipientList=\"mailto:A & B\" />\r\n", false},
      {head + "<AddItemsToAlbum albumId=\"\xF8\xF8\" itemIdList=\"x\" />\r\n", true},
      {head + "<AddItemsToAlbum albumId=\"\xF8<\" itemIdList=\"x\" />\r\n", false},
      {head + "<ModifyProps itemIdList=\"x\">\r\n</ModifyProps>\r\n", false},
      {head + "<M />", false},
      {head + "<M/>\r\n", false},
      {head + "<M />\n", false},
      {head + "<M  a=\"1\" />\r\n", false},
      {head + "<M a='1' />\r\n", false},
      {head + "<M a=\"1\" a=\"2\" />\r\n", false},
      {head + "<M a=\"1\"b=\"2\" />\r\n", false},
      {head + "<M a=\"x<y\" />\r\n", false},
      {head + "<M a=\"x&y\" />\r\n", false},
      {head + "<M>\r\n</N>\r\n", false},
      {head + "<M />\r\n ", false},
      {head + "<a>\r\n<b>\r\n<c>\r\n<d>\r\n<e />\r\n</d>\r\n</c>\r\n</b>\r\n</a>\r\n", false},
      {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" + head.substr(head.find("<?pro")) +
           "<M />\r\n",
       false},
      {"<M />\r\n", false},
      {head, false},
      {"", false},
  };
  for (const Case& c : cases) {
    std::string reason;
    EXPECT_EQ(ReadRequestDocument(c.document, reason).has_value(), c.good) << c.document << reason;
    EXPECT_EQ(reason.empty(), c.good) << c.document;
  }
}

}  // namespace
}  // namespace kelo::devservice
