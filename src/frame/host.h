// Host services the frame gives every report: the clock, per-user settings, the temporary folder,
// and message boxes (through engine::HostServices).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/host_services.h"

namespace galvix::frame {

// The current date and time as a serial date. Tests pin it.
double now();
void setClock(std::function<double()> clock);  // empty: the system clock again

// Per-user application settings, kept in an INI file per application:
// $XDG_CONFIG_HOME/<app>.ini (default ~/.config/<app>.ini).
std::optional<std::string> getSetting(std::string_view app, std::string_view section,
                                      std::string_view key);
std::string settingsPath(std::string_view app);

// The folder for temporary files ($TMPDIR or /tmp), without a trailing slash.
std::string tempFolder();

// Messages as the user would see them: printed to stderr as "caption: text" unless a test
// installs a recorder.
struct Message {
  std::string text, caption;
  engine::MessageIcon icon;
};
class RecordingHost : public engine::HostServices {
 public:
  void message(const std::string& text, const std::string& caption,
               engine::MessageIcon icon) override {
    messages.push_back({text, caption, icon});
  }
  void warning(const std::string& text) override { warnings.push_back(text); }
  std::vector<Message> messages;
  std::vector<std::string> warnings;
};

}  // namespace galvix::frame
