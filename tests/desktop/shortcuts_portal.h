#pragma once

#include <memory>
#include <string>

namespace talvane::test {

/// A desktop's portal for shortcuts, on a session bus. It takes what is wished.
class ShortcutsPortal {
 public:
  explicit ShortcutsPortal(const std::string& session_bus);
  ~ShortcutsPortal();
  ShortcutsPortal(const ShortcutsPortal&) = delete;
  ShortcutsPortal& operator=(const ShortcutsPortal&) = delete;

  /// From now on it takes none.
  void refuse();
  /// What was last wished; empty: nothing yet.
  [[nodiscard]] std::string trigger() const;
  [[nodiscard]] int openSessions() const;
  /// The user presses the shortcut of the last session.
  void press() const;

 private:
  struct Service;
  std::unique_ptr<Service> service_;
};

}  // namespace talvane::test
