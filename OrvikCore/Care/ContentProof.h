#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Security/BackupCipher.h"
#include "Platform/Bytes.h"

namespace orvik {

/// What stored bytes prove of themselves. A value; any thread may call.
class ContentProof {
 public:
  explicit ContentProof(std::optional<BackupCipher> cipher) : cipher_(std::move(cipher)) {}

  enum class Verdict {
    intact,
    damaged,
    sealed,  ///< and no key is at hand: nobody can tell
  };
  struct Judgement {
    Verdict verdict = Verdict::damaged;
    bool isJSON = true;  ///< false for intact content that is none, as an answer of a proxy
  };
  /// Whether bytes reproduce the name under which they are stored.
  Judgement judge(std::string_view name, const platform::Bytes& stored) const;

  /// The name that bytes have; nothing for sealed ones that don't open.
  std::optional<std::string> nameOf(const platform::Bytes& stored) const;

 private:
  /// The content behind stored bytes: those themselves, or what they hold, in `buffer`. Null when they don't
  /// open.
  const platform::Bytes* opened(const platform::Bytes& stored, platform::Bytes& buffer) const;

  std::optional<BackupCipher> cipher_;
};

}  // namespace orvik
