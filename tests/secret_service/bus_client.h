#pragma once

#include <gio/gio.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace talvane::testing {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Connection = std::unique_ptr<GDBusConnection, Unref>;
using Variant = std::unique_ptr<GVariant, Unref>;

/// A connection of its own to the bus at this address, or the session bus. Throws
/// std::runtime_error if there is none.
Connection connectToBus(const std::string& address);
Connection connectToBus();

/// Another user of the Secret Service, which speaks plainly and knows only D-Bus. Errors of the
/// service are thrown as std::runtime_error.
class BusClient {
 public:
  BusClient();

  Variant call(const std::string& destination, const std::string& path,
               const std::string& interface, const std::string& method, GVariant* parameters);
  Variant callService(const std::string& method, GVariant* parameters);

  /// Whether the service's name has an owner.
  bool serviceRuns();
  std::string defaultCollection();
  void setDefault(const std::string& collection);
  bool isLocked(const std::string& collection);
  void lock(const std::string& collection);
  void unlock(const std::string& collection, const std::string& password);
  std::string makeCollection(const std::string& label, const std::string& password);

  /// Adds an item with the attributes of ours, even beside another such; its path.
  std::string addItem(const std::string& collection, const std::string& service,
                      const std::string& account, const std::string& text);
  /// The items with this service and account, and the text of one.
  std::vector<std::string> findItems(const std::string& service, const std::string& account);
  std::string itemText(const std::string& path);
  Variant property(const std::string& path, const std::string& interface, const std::string& name);

 private:
  const std::string& session();

  Connection connection_;
  std::string session_;
};

/// Sees every message on the bus from its construction on.
class BusMonitor {
 public:
  BusMonitor();
  ~BusMonitor();

  /// How often the method has been called.
  int calls(const std::string& method);
  /// Whether the text stood in any message.
  bool saw(const std::string& text);

 private:
  static GDBusMessage* look(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                            gpointer self);
  void catchUp();

  std::mutex mutex_;
  std::map<std::string, int> calls_;
  std::string contents_;
  Connection connection_;
  Connection marker_;
  int markers_ = 0;
};

}  // namespace talvane::testing
