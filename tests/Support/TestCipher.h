#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Crypto/Digest.h"

namespace orvik::test {

/// A cipher for the tests of those who use one: every sealing differs, damage and another key are noticed,
/// nothing is secret. Layout: magic, 8 bytes count, the bytes xored with key and count, 64 hex digits digest.
class TestCipher : public BackupCipher {
 public:
  explicit TestCipher(std::string key = "key") : key_(std::move(key)) {}

  platform::Bytes seal(std::string_view plain) const override {
    const std::uint64_t count = ++sealings_;
    platform::Bytes nonce;
    for (int shift = 0; shift < 64; shift += 8) nonce += static_cast<char>(count >> shift);
    return std::string(magic) + nonce + mixed(plain, nonce) + digestOf(plain);
  }

  platform::Bytes open(std::string_view bytes) const override {
    if (!isSealed(bytes)) return platform::Bytes(bytes);
    bytes.remove_prefix(magic.size());
    if (bytes.size() < nonceSize + digestSize) throw BackupEncryptionError::damaged("authentication failed");
    const auto nonce = bytes.substr(0, nonceSize);
    auto plain = mixed(bytes.substr(nonceSize, bytes.size() - nonceSize - digestSize), nonce);
    if (digestOf(plain) != bytes.substr(bytes.size() - digestSize))
      throw BackupEncryptionError::damaged("authentication failed");
    return plain;
  }

  std::string name(std::string_view plain) const override {
    return platform::sha256Hex("name" + key_ + std::string(plain));
  }

  std::uint64_t sealings() const noexcept { return sealings_; }

 private:
  static constexpr std::size_t nonceSize = 8;
  static constexpr std::size_t digestSize = 64;

  platform::Bytes mixed(std::string_view bytes, std::string_view nonce) const {
    platform::Bytes out(bytes);
    for (std::size_t i = 0; i < out.size(); ++i)
      out[i] = static_cast<char>(out[i] ^ key_[i % key_.size()] ^ nonce[i % nonce.size()] ^ 0x5a);
    return out;
  }
  std::string digestOf(std::string_view plain) const {
    return platform::sha256Hex("seal" + key_ + std::string(plain));
  }

  std::string key_;
  mutable std::atomic<std::uint64_t> sealings_{0};
};

}  // namespace orvik::test
