#pragma once

// Every setting and every text that an administrator may change, from "tasofttoken.ini": in the
// home folder, else in /etc, else in the application bundle's folder. Only the first readable file
// counts. The keys of the administrator's policy, "/etc/softtoken/policy.ini", win over it. Texts
// that neither sets come from the user's language, "languages/LANGUAGE.ini" in the bundle's folder,
// and else are English. Filled once at start-up; after that only enrolment may change `EnrolURL`.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "config/ta_settings.h"
#include "platform/user_defaults.h"

namespace talvane {

class Ini {
 public:
  std::string EnrolURL;
  bool bDebug = false;
  bool bAllowManual = false;
  bool bAllowTaEnrol = true;
  bool bAllowHTTP = false;
  bool bCopyButton = true;   // read, but without effect
  bool bCloseOnCopy = true;  // read, but without effect
  std::int64_t RollupSteps = 10;
  std::int64_t RollupInterval = 10;  // read, but without effect
  std::string GettingStartedURL;
  std::int64_t iButtonFontSize = 12;
  std::int64_t iProtocolVersion = 7200;

  std::string StrMenuOpen;
  std::string StrMenuAdd;
  std::string StrMenuExit;
  std::string StrUsername;
  std::string StrPassword;
  std::string StrPasscode;
  std::string StrAccessDenied;
  std::string StrGetURL;
  std::string StrGettingStarted;
  std::string StrManage;
  std::string StrPleaseWait;
  std::string StrEnrolPrompt;
  std::string StrErrNoEnrolURL;
  std::string StrButtonEdit;
  std::string StrButtonHelp;
  std::string StrButtonAdd;
  std::string StrButtonHome;
  std::string StrButtonCancel;  // read, but without effect
  std::string StrButtonDelete;
  std::string StrButtonSubmit;  // read, but without effect
  std::string StrButtonOK;      // read, but without effect
  std::string StrButtonCopy;
  std::string StrDeletePleaseSelect;
  std::string StrDeleteAreYouSure;
  std::string StrManualDesc;
  std::string StrManualSeed;
  std::string StrSecretQuestions;
  std::string StrStartupAdd;
  std::string StrStartupRemove;

  /// The most seconds that a copied passcode stays in the clipboard; 0 or less: it is not cleared.
  std::int64_t ClipboardSeconds = 60;
  std::string LoginItems;  // "ask", "on" or "off"; see `atLogin`
  /// The key combination that opens and closes the panel, unless the user has chosen another one
  /// (as shortcutIn takes it); "none": there is none.
  std::string Shortcut;
  /// Whether the desktop's search finds tokens by their names.
  bool bAllowSearch = true;

  // Declared for compatibility. No file sets them, and they have no effect.
  bool bLostFocusClose = false;
  bool bSingleClickOpen = false;
  bool bSingleClickClose = false;
  bool bCloseWhenFocusLost = false;
  std::string Proxy;
  std::string CustomLogo;
  const void* loginitems = nullptr;

  static constexpr const char* file_name = "tasofttoken.ini";

  /// Borrows `defaults`. All properties have their defaults before the first `read`.
  explicit Ini(UserDefaults& defaults);
  Ini(UserDefaults& defaults, SettingsFolders folders);

  /// Fills the properties. Always returns true: without a file every property has its default. The
  /// language's file leaves no trace.
  bool read();

  /// The file that `read` used; empty if none.
  [[nodiscard]] const std::string& file() const { return file_; }
  /// The files that would have come first, but could not be read although they exist.
  [[nodiscard]] std::vector<std::string> unreadableFiles() const;

  /// The policy; empty if there is none, or it is ignored.
  [[nodiscard]] const std::string& policyFile() const { return policy_.file; }
  /// Why a policy that is there is ignored, for the user; empty if it is not.
  [[nodiscard]] const std::string& policyProblem() const { return policy_.problem; }

  /// Whether the program starts at login: as the user says, or as the administrator does.
  enum class AtLogin : std::uint8_t { ask, on, off };
  [[nodiscard]] AtLogin atLogin() const;
  /// The meaning of a value of `LoginItems`; nullopt for anything but "ask", "on" and "off".
  [[nodiscard]] static std::optional<AtLogin> atLogin(std::string_view value);

  /// The possible paths of the file, in the order in which `read` tries them.
  [[nodiscard]] std::vector<std::string> paths() const;

  /// One key that `read` knows.
  struct Key {
    enum class Kind : std::uint8_t { text, flag, integer };
    std::string_view name;
    Kind kind = Kind::text;
    std::string default_value;  // as text
  };
  /// All keys, in the order in which `read` reads them.
  [[nodiscard]] static std::vector<Key> keys();

  /// One key with its value as text, for listing.
  struct Entry {
    std::string_view key;
    std::string value;
    bool from_file = false;  // a file has a value for it, even if it equals the default
    std::string file{};      // that file, or the language's that the text is from
  };
  /// All keys with their values, in the same order.
  [[nodiscard]] std::vector<Entry> entries() const;

  /// What the files say, by key in lower case, whether the program knows the key or not.
  [[nodiscard]] std::map<std::string, std::string> written() const { return settings_.values(); }

  /// The request address for `EnrolURL`: in lower case, with the page and the protocol version
  /// appended. Empty if `EnrolURL` is empty. Compares the end of the address as plain text.
  [[nodiscard]] std::string tidyEnrolURL() const;

 private:
  void fillFrom(const TaSettings& settings);
  void readLanguage();

  UserDefaults& defaults_;
  SettingsFolders folders_;
  TaSettings settings_;
  std::unordered_map<std::string, std::string> language_texts_;  // by key
  std::string language_file_;
  std::string file_;
  TaSettings::Policy policy_;
};

}  // namespace talvane
