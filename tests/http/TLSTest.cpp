// A server that nobody vouches for gets no request.
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <signal.h>

#include <atomic>
#include <memory>
#include <string>

#include "http/HTTPTestSupport.h"
#include "http/SocketServer.h"

namespace kelo {
namespace {

/// A TLS server's context with a certificate for 127.0.0.1 that it signed itself.
class SelfSigned {
 public:
  SelfSigned() : context_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free) {
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
    usable_ = SSL_CTX_use_certificate(context_.get(), x509) == 1 &&
              SSL_CTX_use_PrivateKey(context_.get(), key.get()) == 1;
  }
  bool IsUsable() const { return usable_; }

  /// Shakes hands and answers a request, if one comes; whether one came.
  bool Serve(int socket) const {
    // The peer leaves in the middle of the handshake, and this side writes without protection. Only
    // this thread is shielded: the library has to do without.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context_.get()), &SSL_free);
    SSL_set_fd(ssl.get(), socket);
    char request[4096];
    if (SSL_accept(ssl.get()) != 1 || SSL_read(ssl.get(), request, sizeof request) <= 0) {
      return false;
    }
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    SSL_write(ssl.get(), answer.data(), static_cast<int>(answer.size()));
    SSL_shutdown(ssl.get());
    return true;
  }

 private:
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  bool usable_ = false;
};

TEST(TLS, AServerThatNobodyVouchesForGetsNoRequest) {
  const SelfSigned identity;
  ASSERT_TRUE(identity.IsUsable());
  std::atomic<int> handshakes = 0;
  std::atomic<bool> served = false;
  SocketServer server([&](Peer& peer) {
    ++handshakes;
    if (identity.Serve(peer.Socket())) served = true;
  });
  Transport transport;
  const std::string url = "https://127.0.0.1:" + std::to_string(server.Port());
  std::string response;
  std::uint32_t size = 0;
  EXPECT_EQ(transport.connection.HTTPRequestGET(url, "", response, 5), 4112u);
  EXPECT_EQ(transport.connection.HTTPRequestPUT(url, "", "secret", response, 5), 4112u);
  EXPECT_EQ(transport.connection.HTTPFileDownload(url, transport.folder / "f", size, 5), 4112u);
  EXPECT_EQ(transport.folder.Entries(), 0u);
  EXPECT_TRUE(server.WaitForClosed(3));
  EXPECT_EQ(handshakes, 3);
  EXPECT_FALSE(served);
}

}  // namespace
}  // namespace kelo
