#pragma once

#include <gio/gio.h>

#include <functional>
#include <string>
#include <thread>

#include "tests/secret_service/bus_client.h"

namespace talvane::test {

using testing::Variant;

/// A part of a desktop on a session bus. It answers on a thread of its own, from `serve` to its
/// end.
class BusService {
 public:
  struct Functions {
    /// Answers a call.
    std::function<void(const char* sender, const std::string& method, GVariant* parameters,
                       GDBusMethodInvocation* invocation)>
        called;
    /// The value of a property, which the caller owns. May be empty.
    std::function<GVariant*(const std::string& name)> property{};
  };
  /// `description` is introspection data. Throws std::runtime_error if there is no such bus.
  BusService(const std::string& session_bus, const char* description, Functions functions);
  ~BusService();
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;

  /// Offers an interface of the description, by its index.
  void offer(const char* path, std::size_t interface = 0);
  /// Takes the name and begins to answer. Throws std::runtime_error if it cannot have the name.
  void serve(const char* name);

  /// What another program answers; null: it does not.
  [[nodiscard]] Variant call(const char* name, const char* path, const char* interface,
                             const char* method, GVariant* parameters) const;
  /// To all if `receiver` is null.
  void signal(const char* receiver, const char* path, const char* interface, const char* name,
              GVariant* parameters) const;

 private:
  Functions functions_;
  testing::Connection bus_;
  GMainContext* context_;
  GMainLoop* loop_;
  GDBusNodeInfo* node_;
  std::thread thread_;
};

}  // namespace talvane::test
