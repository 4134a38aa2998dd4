// What a report needs from the application it runs in: message boxes, the clock, per-user
// settings and a folder for temporary files. A host implements HostServices (every member but
// message() has a default) and passes it to ReportObject::run; without one, messages go to
// stderr and the rest come from the system.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace galvix {

enum class MessageIcon { None, Critical, Question, Exclamation, Information };

class HostServices {
 public:
  virtual ~HostServices() = default;
  // A message box with the exact text, caption and icon; returns when it is closed. Called on
  // the thread that runs the report.
  virtual void message(const std::string& text, const std::string& caption, MessageIcon icon) = 0;
  // The busy pointer, on while a report builds its data.
  virtual void setBusy(bool /*busy*/) {}
  // Engine diagnostics (a band that did not fit its page, ...). Default: stderr.
  virtual void warning(const std::string& text);
  // The current local date and time as a serial date (days since 1899-12-30; the fraction is
  // the time of day): the "Date Printed" of the page footers. Default: the system clock.
  virtual double now();
  // A per-user setting of an application, or nullopt. Default: the INI file settingsPath(app),
  // section and key compared without regard to case.
  virtual std::optional<std::string> setting(std::string_view app, std::string_view section,
                                             std::string_view key);
  // The folder for temporary files, without a trailing slash. Default: $TMPDIR or /tmp.
  virtual std::string tempFolder();
};

// The default host: messages to stderr as "caption: text".
std::shared_ptr<HostServices> defaultHostServices();

// Where the default host reads an application's settings: $XDG_CONFIG_HOME/<app>.ini, or
// ~/.config/<app>.ini.
std::string settingsPath(std::string_view app);

}  // namespace galvix
