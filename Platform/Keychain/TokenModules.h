#pragma once

#include <memory>
#include <vector>

struct ck_function_list;

namespace platform::keychain {

/// The PKCS #11 modules known to p11-kit, loaded and initialised; modules that refuse are left out. They are
/// finalised when this goes, sessions and all. Any thread may call.
class TokenModules {
 public:
  TokenModules();
  ~TokenModules();
  TokenModules(const TokenModules&) = delete;
  TokenModules& operator=(const TokenModules&) = delete;

  /// In p11-kit's order. Valid while this lives.
  std::vector<ck_function_list*> all() const;

 private:
  ck_function_list** list_;  // ends with a null; null itself when nothing could be loaded
};

/// A slot of a module, which it keeps initialised.
struct TokenSlot {
  std::shared_ptr<const TokenModules> modules;
  ck_function_list* module;
  unsigned long number;
};

/// The slots that hold a token, in the order of modules and slots; at most a few hundred of a module.
std::vector<TokenSlot> tokenSlots(const std::shared_ptr<const TokenModules>& modules);

}  // namespace platform::keychain
