#include <fmt/format.h>
#include <libsecret/secret.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "Platform/Keychain/Passwords.h"

namespace platform::keychain {

namespace {

using Reason = PasswordError::Reason;

constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr int busTimeout = 10'000;  // milliseconds

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(SecretValue* value) const { secret_value_unref(value); }
  void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

/// Where the library puts its error.
class Failure {
 public:
  ~Failure() { g_clear_error(&error_); }
  GError** place() { return &error_; }
  bool happened() const { return error_ != nullptr; }

  [[noreturn]] void raise() const {
    throw PasswordError(Reason::failed, error_ ? error_->message : "the Secret Service did not answer");
  }

 private:
  GError* error_ = nullptr;
};

/// Whether there may be a session bus; without looking the library would try to start one.
bool hasSessionBus() {
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address != nullptr && *address != '\0')
    return true;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::error_code error;
  return runtime != nullptr && std::filesystem::is_socket(std::filesystem::path(runtime) / "bus", error);
}

/// Whether the list of names that the bus gives holds the service's.
bool names(GDBusConnection* bus, const char* operation) {
  const Owned<GVariant> answer(g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", operation, nullptr,
      G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, busTimeout, nullptr, nullptr));
  if (!answer) return false;
  const Owned<GVariant> list(g_variant_get_child_value(answer.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
    const Owned<GVariant> name(g_variant_get_child_value(list.get(), i));
    if (std::string_view(g_variant_get_string(name.get(), nullptr)) == serviceName) return true;
  }
  return false;
}

const SecretSchema* schema() {
  static const SecretSchema schema = [] {
    SecretSchema made{};
    made.name = "org.orvik.Password";
    made.flags = SECRET_SCHEMA_NONE;
    made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return made;
  }();
  return &schema;
}

Owned<GHashTable> attributes(const std::string& service, const std::string& account) {
  return Owned<GHashTable>(
      secret_attributes_build(schema(), "service", service.c_str(), "account", account.c_str(), nullptr));
}

[[noreturn]] void refuseLocked() {
  throw PasswordError(Reason::locked,
                      "the keychain is locked; unlock it, by logging in for example, and try again");
}

class SecretServiceStore final : public PasswordStore {
 public:
  std::optional<SecretString> find(const std::string& service, const std::string& account) override {
    const auto item = itemOf(service, account);
    if (!item) return std::nullopt;
    if (secret_item_get_locked(item.get())) refuseLocked();
    Failure failure;
    if (!secret_item_load_secret_sync(item.get(), nullptr, failure.place())) failure.raise();
    const Owned<SecretValue> value(secret_item_get_secret(item.get()));
    if (!value) throw PasswordError(Reason::failed, "the keychain gave no value");
    gsize size = 0;
    const char* bytes = secret_value_get(value.get(), &size);
    return SecretString(std::string(bytes, size));
  }

  void set(const std::string& service, const std::string& account, const SecretString& secret) override {
    Failure failure;
    const Owned<SecretCollection> collection(secret_collection_for_alias_sync(
        connection().get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, failure.place()));
    if (failure.happened()) failure.raise();
    if (!collection)
      throw PasswordError(Reason::notAvailable,
                          "the keychain has no default collection; make one in your desktop");
    if (secret_collection_get_locked(collection.get())) refuseLocked();
    const auto text = secret.reveal();
    const Owned<SecretValue> value(
        secret_value_new(text.data(), static_cast<gssize>(text.size()), "text/plain"));
    const auto label = fmt::format("{}: {}", service, account);
    const Owned<SecretItem> item(
        secret_item_create_sync(collection.get(), schema(), attributes(service, account).get(), label.c_str(),
                                value.get(), SECRET_ITEM_CREATE_REPLACE, nullptr, failure.place()));
    if (!item) failure.raise();
  }

  void remove(const std::string& service, const std::string& account) override {
    const auto item = itemOf(service, account);
    if (!item) return;
    if (secret_item_get_locked(item.get())) refuseLocked();
    Failure failure;
    if (!secret_item_delete_sync(item.get(), nullptr, failure.place())) failure.raise();
  }

 private:
  static Owned<SecretService> connection() {
    Failure failure;
    // The library keeps a connection whose other end may have died since.
    secret_service_disconnect();
    Owned<SecretService> service(
        secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, failure.place()));
    if (!service) failure.raise();
    return service;
  }

  static Owned<SecretItem> itemOf(const std::string& service, const std::string& account) {
    Failure failure;
    const Owned<GList> items(secret_service_search_sync(connection().get(), schema(),
                                                        attributes(service, account).get(),
                                                        SECRET_SEARCH_NONE, nullptr, failure.place()));
    if (failure.happened()) failure.raise();
    if (!items) return nullptr;
    return Owned<SecretItem>(SECRET_ITEM(g_object_ref(items->data)));
  }
};

}  // namespace

std::unique_ptr<PasswordStore> secretService() {
  if (!hasSessionBus()) return nullptr;
  const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (!bus) return nullptr;
  g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  if (!names(bus.get(), "ListNames") && !names(bus.get(), "ListActivatableNames")) return nullptr;
  return std::make_unique<SecretServiceStore>();
}

}  // namespace platform::keychain
