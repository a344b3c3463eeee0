#define CRYPTOKI_GNU
#include "Platform/Keychain/TokenSession.h"

#include <p11-kit/p11-kit.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

#include "Platform/Locale/Text.h"

namespace platform::keychain {

namespace {

void require(ck_rv_t code) {
  if (code != CKR_OK) throw TokenError(code);
}

/// A field of fixed width, padded with blanks.
template <std::size_t Size>
std::string fieldText(const unsigned char (&field)[Size]) {
  return {reinterpret_cast<const char*>(field), p11_kit_space_strlen(field, Size)};
}

std::string shown(std::string text) {
  const bool isUTF8 = locale::isValidUTF8(text);
  for (char& each : text) {
    const auto byte = static_cast<unsigned char>(each);
    if (byte < 0x20 || byte == 0x7F || (byte > 0x7F && !isUTF8)) each = '?';
  }
  return text;
}

ck_attribute attributeOf(ck_attribute_type_t type, void* value, std::size_t size) {
  return {type, value, static_cast<unsigned long>(size)};
}

ck_object_class_t classOf(TokenObjectKind kind) {
  switch (kind) {
    case TokenObjectKind::certificate:
      return CKO_CERTIFICATE;
    case TokenObjectKind::publicKey:
      return CKO_PUBLIC_KEY;
    default:
      return CKO_PRIVATE_KEY;
  }
}

/// One thread at a time: a module that states the token's clock may make that text in memory which all of a
/// process's threads share (`gmtime`).
ck_token_info tokenInfo(const TokenSlot& slot) {
  static std::mutex door;  // guards the call
  const std::lock_guard lock(door);
  ck_token_info info{};
  require(slot.module->C_GetTokenInfo(slot.number, &info));
  return info;
}

/// A derived key, which lives in the session. Destroyed when it goes.
class DerivedKey {
 public:
  DerivedKey(ck_function_list* module, unsigned long session) : module_(module), session_(session) {}
  ~DerivedKey() {
    if (object_) module_->C_DestroyObject(session_, *object_);
  }
  DerivedKey(const DerivedKey&) = delete;
  DerivedKey& operator=(const DerivedKey&) = delete;

  ck_rv_t derive(TokenObject privateKey, std::string_view publicData) {
    ck_ecdh1_derive_params parameters{};
    parameters.kdf = CKD_NULL;
    parameters.public_data = reinterpret_cast<unsigned char*>(const_cast<char*>(publicData.data()));
    parameters.public_data_len = publicData.size();
    ck_mechanism mechanism{CKM_ECDH1_DERIVE, &parameters, sizeof parameters};
    ck_object_class_t kind = CKO_SECRET_KEY;
    ck_key_type_t type = CKK_GENERIC_SECRET;
    unsigned char no = 0;
    unsigned char yes = 1;
    unsigned long size = Secret256::size;
    std::array wanted{
        attributeOf(CKA_CLASS, &kind, sizeof kind),     attributeOf(CKA_KEY_TYPE, &type, sizeof type),
        attributeOf(CKA_TOKEN, &no, sizeof no),         attributeOf(CKA_SENSITIVE, &no, sizeof no),
        attributeOf(CKA_EXTRACTABLE, &yes, sizeof yes), attributeOf(CKA_VALUE_LEN, &size, sizeof size)};
    ck_object_handle_t object = 0;
    const auto code =
        module_->C_DeriveKey(session_, &mechanism, privateKey, wanted.data(), wanted.size(), &object);
    if (code == CKR_OK) object_ = object;
    return code;
  }
  TokenObject object() const { return *object_; }

 private:
  ck_function_list* module_;
  unsigned long session_;
  std::optional<ck_object_handle_t> object_;
};

}  // namespace

TokenError::TokenError(unsigned long code) : Error(p11_kit_strerror(code)), code_(code) {}

bool TokenError::isWrongPIN() const noexcept {
  return code_ == CKR_PIN_INCORRECT || code_ == CKR_PIN_INVALID || code_ == CKR_PIN_LEN_RANGE;
}

bool TokenError::isLockedPIN() const noexcept { return code_ == CKR_PIN_LOCKED; }

TokenSession::TokenSession(TokenSlot slot) : slot_(std::move(slot)) {
  require(slot_.module->C_OpenSession(slot_.number, CKF_SERIAL_SESSION, nullptr, nullptr, &session_));
}

TokenSession::~TokenSession() { slot_.module->C_CloseSession(session_); }

TokenState TokenSession::state() const {
  const auto info = tokenInfo(slot_);
  const auto has = [&](unsigned long flag) { return (info.flags & flag) != 0; };
  return {.label = shown(fieldText(info.label)),
          .serialNumber = fieldText(info.serial_number),
          .needsLogin = has(CKF_LOGIN_REQUIRED),
          .hasKeypad = has(CKF_PROTECTED_AUTHENTICATION_PATH),
          .isPINLocked = has(CKF_USER_PIN_LOCKED),
          .hasOneTryLeft = has(CKF_USER_PIN_FINAL_TRY)};
}

bool TokenSession::isLoggedIn() const {
  ck_session_info info{};
  require(slot_.module->C_GetSessionInfo(session_, &info));
  return info.state == CKS_RO_USER_FUNCTIONS || info.state == CKS_RW_USER_FUNCTIONS;
}

void TokenSession::logIn(const SecretString& pin) const {
  const auto text = pin.reveal();
  auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
  const auto code = slot_.module->C_Login(session_, CKU_USER, bytes, text.size());
  if (code != CKR_USER_ALREADY_LOGGED_IN) require(code);
}

std::vector<TokenObject> TokenSession::find(TokenObjectKind kind, const std::optional<Bytes>& id) const {
  auto wantedClass = classOf(kind);
  ck_key_type_t curveKey = CKK_EC;
  ck_certificate_type_t x509 = CKC_X_509;
  std::vector wanted{attributeOf(CKA_CLASS, &wantedClass, sizeof wantedClass)};
  if (kind == TokenObjectKind::certificate)
    wanted.push_back(attributeOf(CKA_CERTIFICATE_TYPE, &x509, sizeof x509));
  else
    wanted.push_back(attributeOf(CKA_KEY_TYPE, &curveKey, sizeof curveKey));
  if (id) wanted.push_back(attributeOf(CKA_ID, const_cast<char*>(id->data()), id->size()));
  require(slot_.module->C_FindObjectsInit(session_, wanted.data(), wanted.size()));

  std::vector<TokenObject> found;
  std::array<ck_object_handle_t, 64> batch;
  while (found.size() < mostTokenObjects) {
    unsigned long count = 0;
    if (slot_.module->C_FindObjects(session_, batch.data(), batch.size(), &count) != CKR_OK) break;
    if (count == 0 || count > batch.size()) break;
    found.insert(found.end(), batch.begin(), batch.begin() + static_cast<std::ptrdiff_t>(count));
  }
  slot_.module->C_FindObjectsFinal(session_);
  return found;
}

std::optional<Bytes> TokenSession::id(TokenObject object, std::size_t limit) const {
  return attribute(object, CKA_ID, limit);
}

std::optional<Bytes> TokenSession::value(TokenObject object, std::size_t limit) const {
  return attribute(object, CKA_VALUE, limit);
}

std::optional<Bytes> TokenSession::attribute(TokenObject object, unsigned long type,
                                             std::size_t limit) const {
  auto wanted = attributeOf(type, nullptr, 0);
  // An attribute that can't be had has the greatest length that there is.
  if (slot_.module->C_GetAttributeValue(session_, object, &wanted, 1) != CKR_OK || wanted.value_len > limit)
    return std::nullopt;
  Bytes bytes(wanted.value_len, '\0');
  wanted = attributeOf(type, bytes.data(), bytes.size());
  if (slot_.module->C_GetAttributeValue(session_, object, &wanted, 1) != CKR_OK ||
      wanted.value_len > bytes.size())
    return std::nullopt;
  bytes.resize(wanted.value_len);
  return bytes;
}

std::optional<Secret256> TokenSession::secretValue(TokenObject object) const {
  std::array<char, Secret256::size> raw{};
  auto wanted = attributeOf(CKA_VALUE, raw.data(), raw.size());
  const auto code = slot_.module->C_GetAttributeValue(session_, object, &wanted, 1);
  const bool isWhole = code == CKR_OK && wanted.value_len == raw.size();
  const auto secret = Secret256::copyOf({raw.data(), isWhole ? raw.size() : 0});
  ::explicit_bzero(raw.data(), raw.size());
  if (code != CKR_BUFFER_TOO_SMALL) require(code);
  return secret;
}

std::optional<Secret256> TokenSession::sharedSecret(TokenObject privateKey, std::string_view peerX963) const {
  DerivedKey derived(slot_.module, session_);
  if (const auto code = derived.derive(privateKey, peerX963); code != CKR_OK) {
    // PKCS #11 leaves open whether the point is raw or a DER octet string, and tokens that want the latter
    // refuse the former with all kinds of codes. The first one is told when both are refused.
    Bytes octetString{'\x04', static_cast<char>(peerX963.size())};
    octetString += peerX963;
    if (derived.derive(privateKey, octetString) != CKR_OK) throw TokenError(code);
  }
  return secretValue(derived.object());
}

}  // namespace platform::keychain
