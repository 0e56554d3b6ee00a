// The material of a sandbox, read as the library reads it.
#include "tools/zqm/Sandbox.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include <filesystem>
#include <stdexcept>

#include "tools/zqm/Backend.h"
#include "tools/zqm/FileAccess.h"
#include "zqm/crypto/OpenSsl.h"
#include "zqm/crypto/ZQMCryptography.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

class SandboxTest : public ::testing::Test {
 protected:
  SandboxTest() : root_((fs::temp_directory_path() / "zqm-sandbox-XXXXXX").string()) {
    if (::mkdtemp(root_.data()) == nullptr) throw std::runtime_error(root_);
  }
  ~SandboxTest() override { fs::remove_all(root_); }

  Sandbox make() {
    return Sandbox::create(fs::path(root_) / "sandbox", makeIntegratorKey(),
                           {.backendUrl = "http://127.0.0.1:8750/"});
  }

  static std::optional<std::string> decrypted(const Sandbox& sandbox, const std::string& text) {
    ZQMCryptography cryptography;
    cryptography.loadPrivateKeyFromData(readFile(sandbox.pkcs12File()),
                                        sandbox.environments()["FILE_PASSWORD_CERTS_P12"].string());
    return cryptography.rsaDecryptString(text);
  }

  std::string root_;
};

TEST_F(SandboxTest, TheKeyFileOpensWithTheSettingsPasswordAndDecryptsWhatIsProtected) {
  const Sandbox sandbox = make();
  EXPECT_EQ(decrypted(sandbox, sandbox.applicationId()), "sandbox-application");
  // More than one block.
  const std::string longText(1000, 'x');
  EXPECT_EQ(decrypted(sandbox, protect(sandbox.certificate(), longText)), longText);
}

TEST_F(SandboxTest, HoldsEverySettingAndKeepsItToItsOwner) {
  const Sandbox sandbox = make();
  const Dictionary settings = sandbox.environments();
  EXPECT_EQ(settings.size(), 14U);
  EXPECT_EQ(settings["START_ENVIRONMENT_URI"], "http://127.0.0.1:8750/start/");
  EXPECT_EQ(settings["GRAYLOG_ENVIRONMENT_URI"], "http://127.0.0.1:8750/graylog/");
  EXPECT_EQ(settings["FILE_NAME_CERTS_P12"].textForm() + ".p12", sandbox.pkcs12File().filename());
  EXPECT_TRUE(asText(readFile(sandbox.corePackage() / "Info.plist")).starts_with("<?xml"));
  for (const auto& entry : fs::recursive_directory_iterator(fs::path(root_) / "sandbox")) {
    const auto others = fs::perms::group_all | fs::perms::others_all;
    EXPECT_EQ(entry.status().permissions() & others, fs::perms::none) << entry.path();
  }
}

TEST_F(SandboxTest, NeitherOverwritesNorOpensADirectoryOfAnotherKind) {
  make();
  EXPECT_THROW(make(), std::runtime_error);
  EXPECT_THROW(Sandbox::open(root_), std::runtime_error);
  EXPECT_THROW(readCertificate(fs::path(root_) / "sandbox" / "application-id"), std::runtime_error);
}

TEST_F(SandboxTest, ReadsACertificateInPemToo) {
  const Sandbox sandbox = make();
  const Bytes der = sandbox.certificate();
  const std::uint8_t* begin = der.data();
  const CertificatePtr certificate(d2i_X509(nullptr, &begin, static_cast<long>(der.size())));
  const OpenSslPtr<BIO, BIO_free> memory(BIO_new(BIO_s_mem()));
  ASSERT_EQ(PEM_write_bio_X509(memory.get(), certificate.get()), 1);
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  const fs::path file = fs::path(root_) / "certificate.pem";
  writeNewFile(file, Bytes(text, text + length));
  EXPECT_EQ(readCertificate(file), der);
}

TEST_F(SandboxTest, EveryAddressOfTheBackendsTableDecryptsToTheBackendsOwn) {
  const Sandbox sandbox = make();
  const Backend backend(sandbox.certificate());
  std::size_t addresses = 0;
  for (const auto& [group, entries] : backend.endpointTable()) {
    ASSERT_NE(entries.dictionary(), nullptr) << group;
    for (const auto& [key, value] : *entries.dictionary()) {
      const std::string service = group + "/" + key;
      EXPECT_EQ(decrypted(sandbox, value.textForm()), backend.url() + "api/" + service);
      ++addresses;
    }
  }
  EXPECT_EQ(addresses, 25U);
}

}  // namespace
}  // namespace zqm::tools
