// https: who is believed, and where a redirect may lead.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <signal.h>
#include <sys/socket.h>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

// The certificates that the library's requests believe in, instead of the system's; empty: those.
std::string trusted;

// A TLS server's identity, with a certificate for 127.0.0.1 that it signed itself.
class Identity {
 public:
  Identity() : context_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free) {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    X509* const x509 = certificate.get();
    X509_set_version(x509, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509), -3600);
    X509_gmtime_adj(X509_getm_notAfter(x509), 3600);
    X509_set_pubkey(x509, key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_set_issuer_name(x509, X509_get_subject_name(x509));
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> name(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"),
        &X509_EXTENSION_free);
    X509_add_ext(x509, name.get(), -1);
    X509_sign(x509, key.get(), EVP_sha256());
    SSL_CTX_use_certificate(context_.get(), x509);
    SSL_CTX_use_PrivateKey(context_.get(), key.get());
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), &BIO_free);
    PEM_write_bio_X509(text.get(), x509);
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(text.get(), &bytes);
    pem_.assign(bytes, static_cast<std::size_t>(size));
  }
  const std::string& Certificate() const { return pem_; }

  // Shakes hands and answers requests until the peer leaves.
  void Serve(int socket, const std::function<std::string(const std::string&)>& answer) const {
    // The peer leaves in the middle of the handshake, and this side writes without protection. Only
    // this thread is shielded: the library has to do without.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context_.get()), &SSL_free);
    SSL_set_fd(ssl.get(), socket);
    SSL_set_accept_state(ssl.get());
    std::string request;
    char bytes[16384];
    for (int got; (got = SSL_read(ssl.get(), bytes, sizeof bytes)) > 0;) {
      request.append(bytes, static_cast<std::size_t>(got));
      if (!IsWhole(request)) continue;
      const std::string reply = answer(request);
      SSL_write(ssl.get(), reply.data(), static_cast<int>(reply.size()));
      request.clear();
    }
  }

 private:
  static bool IsWhole(const std::string& request) {
    const auto end = request.find("\r\n\r\n");
    const auto length = request.find("Content-Length: ");
    return end != std::string::npos &&
           request.size() == end + 4 + (length < end ? std::stoul(request.substr(length + 16)) : 0);
  }

  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  std::string pem_;
};

// Leads from /to/URL to that URL and answers anything else with its request line and body.
std::string Answer(const std::string& request) {
  const std::string path = request.substr(0, request.find(" HTTP/")).substr(request.find(' ') + 1);
  if (path.starts_with("/to/")) return Response(302, "", "Location: " + path.substr(4) + "\r\n");
  return Response(200, path + request.substr(request.find("\r\n\r\n") + 4));
}

struct TLS : testing::Test {
  const Identity identity;
  std::atomic<int> requests = 0;
  SocketServer secure{[this](Peer& peer) {
    char first = 0;  // of a tunnel's head, if there is one
    if (recv(peer.Socket(), &first, 1, MSG_PEEK) == 1 && first == 'C' &&
        !peer.ReadRequest().empty())
      peer.Send("HTTP/1.1 200 OK\r\n\r\n");
    identity.Serve(
        peer.Socket(),
        [this](const std::string& request) {
          ++requests;
          return Answer(request);
        });
  }};
  SocketServer plain{[](Peer& peer) {
    for (std::string request; !(request = peer.ReadRequest()).empty();) peer.Send(Answer(request));
  }};
  const std::string url = "https://127.0.0.1:" + std::to_string(secure.Port());
  Transport transport;
  const std::string file = transport.folder.Path("f");

  ~TLS() override { trusted.clear(); }
};

TEST_F(TLS, AServerThatIsVouchedForServesEveryOperation) {
  trusted = identity.Certificate();
  EXPECT_EQ(transport.Get(url + "/get", "q"), 0u);
  EXPECT_EQ(transport.response, "/get?q");
  EXPECT_EQ(transport.Put(url + "/put", "body"), 0u);
  EXPECT_EQ(transport.response, "/put?body");
  EXPECT_EQ(transport.DownloadTo(url + "/file", file), 0u);
  EXPECT_EQ(ReadFile(file), "/file");
  EXPECT_EQ(secure.Connections(), 1) << "a connection is kept";
  const std::string large(1 << 20, 'x');
  transport.folder.Write("large", large);
  EXPECT_EQ(transport.Send(url + "/up", {{"<", transport.folder.Path("large"), 1 << 20}}), 0u);
  EXPECT_TRUE(transport.response == "/up?<" + large);
  EXPECT_EQ(secure.Connections(), 2) << "and an upload never has one that was used";
  setenv("https_proxy", secure.Url().c_str(), 1);
  EXPECT_EQ(transport.Get("https://127.0.0.1:1/get"), 0u);
  unsetenv("https_proxy");
  EXPECT_EQ(transport.response, "/get?");
  EXPECT_TRUE(secure.Requests().at(0).starts_with("CONNECT 127.0.0.1:1 HTTP/1.1\r\n"));
}

TEST_F(TLS, AServerThatNobodyVouchesForGetsNoRequest) {
  const std::pair<std::string, std::string> cases[] = {
      {"", url},
      {Identity().Certificate(), url},
      {identity.Certificate(), "https://localhost:" + std::to_string(secure.Port())}};
  for (const auto& [authority, address] : cases) {
    trusted = authority;
    EXPECT_EQ(transport.Get(address), 4112u) << address;
    EXPECT_EQ(transport.Put(address, "secret"), 4112u) << address;
    EXPECT_EQ(transport.DownloadTo(address, file), 4112u) << address;
  }
  EXPECT_EQ(transport.folder.EntryCount(), 0u);
  EXPECT_EQ(secure.Connections(), 9);
  EXPECT_EQ(requests, 0);
}

TEST_F(TLS, RedirectsNeverLeaveIt) {
  trusted = identity.Certificate();
  const struct {
    std::string from;
    std::uint32_t code;
    int secure;
    std::size_t plain;
  } cases[] = {{url + "/to/" + url + "/end", 0, 2, 0},
               {plain.Url("/to/") + url + "/end", 0, 1, 1},
               {url + "/to/" + plain.Url("/end"), 4112, 1, 0},
               {plain.Url("/to/") + url + "/to/" + plain.Url("/end"), 4112, 1, 1}};
  for (const auto& c : cases) {
    requests = 0;
    const std::size_t before = plain.Requests().size();
    EXPECT_EQ(transport.Get(c.from, "q"), c.code) << c.from;
    EXPECT_EQ(transport.response, c.code == 0 ? "/end?q" : "") << c.from;
    EXPECT_EQ(requests, c.secure) << c.from;
    EXPECT_EQ(plain.Requests().size() - before, c.plain) << c.from;
  }
}

}  // namespace
}  // namespace kelo

// The program's own, before the library's: the last place where a request can be told what to
// trust.
extern "C" CURLMcode curl_multi_add_handle(CURLM* multi, CURL* easy) {
  curl_blob blob{kelo::trusted.data(), kelo::trusted.size(), CURL_BLOB_COPY};
  if (blob.len > 0) curl_easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob);
  static const auto system =
      reinterpret_cast<decltype(&curl_multi_add_handle)>(dlsym(RTLD_NEXT, "curl_multi_add_handle"));
  return system(multi, easy);
}
