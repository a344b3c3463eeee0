// A PKCS #11 module that is SoftHSM's but for one fault, which the variable ORVIK_TEST_TOKEN_FAULT names at
// the moment of each call. It writes the name of each call that starts it or reaches for a PIN or a key into
// the file that ORVIK_TEST_TOKEN_LOG names.
#include <dlfcn.h>
#include <p11-kit/pkcs11.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

bool hasFault(std::string_view name) {
  const char* fault = std::getenv("ORVIK_TEST_TOKEN_FAULT");
  return fault != nullptr && fault == name;
}

void note(const char* call) {
  const char* path = std::getenv("ORVIK_TEST_TOKEN_LOG");
  std::FILE* file = path == nullptr ? nullptr : std::fopen(path, "a");
  if (file == nullptr) return;
  std::fputs(call, file);
  std::fputs("\n", file);
  std::fclose(file);
}

/// SoftHSM's own library, open for as long as this one is.
class Inner {
 public:
  Inner() : library_(::dlopen("/usr/lib/softhsm/libsofthsm2.so", RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) std::abort();
    const auto functionList = reinterpret_cast<CK_C_GetFunctionList>(::dlsym(library_, "C_GetFunctionList"));
    if (functionList == nullptr || functionList(&functions) != CKR_OK) std::abort();
  }
  ~Inner() { ::dlclose(library_); }
  Inner(const Inner&) = delete;
  Inner& operator=(const Inner&) = delete;

  CK_FUNCTION_LIST* functions = nullptr;

 private:
  void* library_;
};

CK_FUNCTION_LIST* inner() {
  static const Inner module;
  return module.functions;
}

std::atomic<int> wrongPINs = 0;

CK_RV initialize(void* arguments) {
  note("C_Initialize");
  return hasFault("does not start") ? CKR_DEVICE_ERROR : inner()->C_Initialize(arguments);
}

CK_RV getSlotList(CK_BBOOL withToken, CK_SLOT_ID* slots, CK_ULONG* count) {
  const CK_ULONG room = *count;
  const auto code = inner()->C_GetSlotList(withToken, slots, count);
  if (hasFault("endless slots")) {
    for (CK_ULONG i = 1; slots != nullptr && i < room; ++i) slots[i] = slots[0];
    *count = slots == nullptr ? CK_ULONG{1} << 40 : room;
  }
  return code;
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify,
                  CK_SESSION_HANDLE* session) {
  if (hasFault("no session")) return CKR_DEVICE_REMOVED;
  return inner()->C_OpenSession(slot, flags, application, notify, session);
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
  const auto code = inner()->C_GetTokenInfo(slot, info);
  if (hasFault("another token")) info->serialNumber[0] = '#';
  if (hasFault("two tries") && wrongPINs > 0) info->flags |= CKF_USER_PIN_FINAL_TRY;
  if (hasFault("strange label"))
    for (auto& byte : info->label) byte = 0x9B;
  return code;
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR* pin, CK_ULONG size) {
  note("C_Login");
  const auto code = hasFault("locked") ? CKR_PIN_LOCKED : inner()->C_Login(session, user, pin, size);
  if (code != CKR_OK) ++wrongPINs;
  return code;
}

CK_RV findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG room, CK_ULONG* count) {
  const auto code = inner()->C_FindObjects(session, objects, room, count);
  static CK_OBJECT_HANDLE last = 0;
  if (*count > 0) last = objects[0];
  if (hasFault("endless objects")) {
    for (CK_ULONG i = 0; i < room; ++i) objects[i] = last;
    *count = room;
  }
  if (hasFault("more objects than room")) *count = room + 1000;
  return code;
}

CK_RV getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* wanted,
                        CK_ULONG count) {
  const bool isQuestion = wanted->pValue == nullptr;
  if (hasFault("secrets stay inside")) return CKR_ATTRIBUTE_SENSITIVE;
  const auto code = inner()->C_GetAttributeValue(session, object, wanted, count);
  if (hasFault("huge attributes") && isQuestion) wanted->ulValueLen = CK_ULONG{1} << 40;
  if (hasFault("attributes that grow") && !isQuestion) wanted->ulValueLen += 4096;
  return code;
}

CK_RV deriveKey(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key,
                CK_ATTRIBUTE* wanted, CK_ULONG count, CK_OBJECT_HANDLE* derived) {
  const auto* parameters = static_cast<const CK_ECDH1_DERIVE_PARAMS*>(mechanism->pParameter);
  note(parameters->ulPublicDataLen == 65 ? "C_DeriveKey raw" : "C_DeriveKey octet string");
  if (hasFault("no derivation")) return CKR_KEY_FUNCTION_NOT_PERMITTED;
  if (hasFault("octet strings only") && parameters->ulPublicDataLen == 65) return CKR_MECHANISM_PARAM_INVALID;
  CK_ULONG half = 16;
  if (hasFault("short secrets"))
    for (CK_ULONG i = 0; i < count; ++i)
      if (wanted[i].type == CKA_VALUE_LEN) wanted[i].pValue = &half;
  return inner()->C_DeriveKey(session, mechanism, key, wanted, count, derived);
}

CK_RV destroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  note("C_DestroyObject");
  return inner()->C_DestroyObject(session, object);
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  static CK_FUNCTION_LIST functions = *inner();
  functions.C_GetFunctionList = &C_GetFunctionList;
  functions.C_Initialize = &initialize;
  functions.C_GetSlotList = &getSlotList;
  functions.C_OpenSession = &openSession;
  functions.C_GetTokenInfo = &getTokenInfo;
  functions.C_Login = &login;
  functions.C_FindObjects = &findObjects;
  functions.C_GetAttributeValue = &getAttributeValue;
  functions.C_DeriveKey = &deriveKey;
  functions.C_DestroyObject = &destroyObject;
  *list = &functions;
  return CKR_OK;
}
