#pragma once

#include <memory>
#include <string>
#include <vector>

namespace talvane::test {

/// A status area of the StatusNotifierItem kind: watcher and host in one, on a session bus.
class NotifierHost {
 public:
  explicit NotifierHost(const std::string& session_bus);
  ~NotifierHost();
  NotifierHost(const NotifierHost&) = delete;
  NotifierHost& operator=(const NotifierHost&) = delete;

  /// The bus name of the item that registered last; empty: none has.
  [[nodiscard]] std::string item() const;
  /// A text property of that item.
  [[nodiscard]] std::string text(const char* property) const;
  [[nodiscard]] std::string toolTip() const;
  /// The widths of the images that the item offers, in ascending order.
  [[nodiscard]] std::vector<int> imageWidths() const;
  /// The entries of its menu that have a text, from the top.
  [[nodiscard]] std::vector<std::string> menu() const;
  /// What a click of the left button does. Whether the item took it.
  [[nodiscard]] bool activate() const;

 private:
  struct Service;
  std::unique_ptr<Service> service_;
};

}  // namespace talvane::test
