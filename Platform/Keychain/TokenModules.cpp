#define CRYPTOKI_GNU
#include "Platform/Keychain/TokenModules.h"

#include <p11-kit/p11-kit.h>

#include <algorithm>
#include <mutex>

namespace platform::keychain {

namespace {

constexpr unsigned long mostSlots = 256;

/// Guards loading and finalising. Between the moment in which p11-kit counts the last user of a module out
/// and the one in which it finalises it, another thread could be counted in, and be left with a dead module.
std::mutex& door() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

TokenModules::TokenModules() {
  const std::lock_guard lock(door());
  p11_kit_be_quiet();  // it would write to standard error about modules that are left out
  list_ = p11_kit_modules_load_and_initialize(0);
}

TokenModules::~TokenModules() {
  const std::lock_guard lock(door());
  if (list_ != nullptr) p11_kit_modules_finalize_and_release(list_);
}

std::vector<ck_function_list*> TokenModules::all() const {
  std::vector<ck_function_list*> modules;
  for (auto each = list_; each != nullptr && *each != nullptr; ++each) modules.push_back(*each);
  return modules;
}

std::vector<TokenSlot> tokenSlots(const std::shared_ptr<const TokenModules>& modules) {
  constexpr unsigned char withToken = 1;
  std::vector<TokenSlot> slots;
  for (ck_function_list* module : modules->all()) {
    // Only the call without a buffer makes a module look at its readers again.
    unsigned long count = 0;
    if (module->C_GetSlotList(withToken, nullptr, &count) != CKR_OK) continue;
    std::vector<ck_slot_id_t> numbers(mostSlots);
    count = mostSlots;
    if (module->C_GetSlotList(withToken, numbers.data(), &count) != CKR_OK) continue;
    numbers.resize(std::min(count, mostSlots));
    for (const auto number : numbers) slots.push_back({modules, module, number});
  }
  return slots;
}

}  // namespace platform::keychain
