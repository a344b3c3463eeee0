#include <fmt/format.h>
#include <libsecret/secret.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

#include "Platform/Keychain/Passwords.h"

namespace platform::keychain {

namespace {

using Reason = PasswordError::Reason;

constexpr const char* serviceName = "org.freedesktop.secrets";
/// How long a look-up or a change may take in all. A service that is locked says so at once, and what does
/// not answer holds nobody up.
constexpr std::chrono::seconds patience{4};

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

/// Ends calls that wait for the bus or for the service when they have lasted too long together.
class Deadline {
 public:
  GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  const Owned<GCancellable> cancellable_{g_cancellable_new()};
  std::mutex mutex_;  // the condition's; guards nothing
  std::condition_variable_any ended_;
  const std::jthread timer_{[this](const std::stop_token& stop) {  // last, so that it ends first
    std::unique_lock lock(mutex_);
    if (!ended_.wait_for(lock, stop, patience, [] { return false; }) && !stop.stop_requested())
      g_cancellable_cancel(cancellable_.get());
  }};
};

/// Where the library puts its error.
class Failure {
 public:
  ~Failure() { g_clear_error(&error_); }
  GError** place() { return &error_; }
  bool happened() const { return error_ != nullptr; }

  [[noreturn]] void raise() const {
    const bool isLate = !error_ || g_error_matches(error_, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    throw PasswordError(Reason::failed, isLate ? "the Secret Service did not answer" : error_->message);
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
bool names(GDBusConnection* bus, const char* operation, const Deadline& deadline) {
  const Owned<GVariant> answer(g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", operation, nullptr,
      G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, -1, deadline.cancellable(), nullptr));
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
    const Deadline deadline;
    const auto item = itemOf(service, account, deadline);
    if (!item) return std::nullopt;
    if (secret_item_get_locked(item.get())) refuseLocked();
    Failure failure;
    if (!secret_item_load_secret_sync(item.get(), deadline.cancellable(), failure.place())) failure.raise();
    const Owned<SecretValue> value(secret_item_get_secret(item.get()));
    if (!value) throw PasswordError(Reason::failed, "the keychain gave no value");
    gsize size = 0;
    const char* bytes = secret_value_get(value.get(), &size);
    return SecretString(std::string(bytes, size));
  }

  void set(const std::string& service, const std::string& account, const SecretString& secret) override {
    const Deadline deadline;
    Failure failure;
    const Owned<SecretCollection> collection(
        secret_collection_for_alias_sync(connection(deadline).get(), SECRET_COLLECTION_DEFAULT,
                                         SECRET_COLLECTION_NONE, deadline.cancellable(), failure.place()));
    if (failure.happened()) failure.raise();
    if (!collection)
      throw PasswordError(Reason::notAvailable,
                          "the keychain has no default collection; make one in your desktop");
    if (secret_collection_get_locked(collection.get())) refuseLocked();
    const auto text = secret.reveal();
    const Owned<SecretValue> value(
        secret_value_new(text.data(), static_cast<gssize>(text.size()), "text/plain"));
    const auto label = fmt::format("{}: {}", service, account);
    const Owned<SecretItem> item(secret_item_create_sync(
        collection.get(), schema(), attributes(service, account).get(), label.c_str(), value.get(),
        SECRET_ITEM_CREATE_REPLACE, deadline.cancellable(), failure.place()));
    if (!item) failure.raise();
  }

  void remove(const std::string& service, const std::string& account) override {
    const Deadline deadline;
    const auto item = itemOf(service, account, deadline);
    if (!item) return;
    if (secret_item_get_locked(item.get())) refuseLocked();
    Failure failure;
    if (!secret_item_delete_sync(item.get(), deadline.cancellable(), failure.place())) failure.raise();
  }

 private:
  static Owned<SecretService> connection(const Deadline& deadline) {
    Failure failure;
    // The library keeps a connection whose other end may have died since.
    secret_service_disconnect();
    Owned<SecretService> service(
        secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, deadline.cancellable(), failure.place()));
    if (!service) failure.raise();
    return service;
  }

  static Owned<SecretItem> itemOf(const std::string& service, const std::string& account,
                                  const Deadline& deadline) {
    Failure failure;
    const Owned<GList> items(
        secret_service_search_sync(connection(deadline).get(), schema(), attributes(service, account).get(),
                                   SECRET_SEARCH_NONE, deadline.cancellable(), failure.place()));
    if (failure.happened()) failure.raise();
    if (!items) return nullptr;
    return Owned<SecretItem>(SECRET_ITEM(g_object_ref(items->data)));
  }
};

}  // namespace

std::unique_ptr<PasswordStore> secretService() {
  if (!hasSessionBus()) return nullptr;
  // A bus that said nothing is not waited for again, as long as this process lives.
  static std::atomic<bool> isSilent = false;
  if (isSilent) return nullptr;
  const Deadline deadline;
  const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, deadline.cancellable(), nullptr));
  if (bus) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  const bool isThere =
      bus && (names(bus.get(), "ListNames", deadline) || names(bus.get(), "ListActivatableNames", deadline));
  isSilent = g_cancellable_is_cancelled(deadline.cancellable()) != FALSE;
  if (!isThere) return nullptr;
  return std::make_unique<SecretServiceStore>();
}

}  // namespace platform::keychain
