// Host services the frame gives every report: the clock, per-user settings, the temporary folder,
// and message boxes (through engine::HostServices).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/host_services.h"

namespace galvix::frame {

// Each comes from the host of the report running on this thread (the default host outside a
// run), so a host can give its own clock, settings and folder.
//
// The current date and time as a serial date. Tests pin it for every thread.
double now();
void setClock(std::function<double()> clock);  // empty: the host's clock again

// A per-user application setting (by default from the INI file settingsPath(app)).
std::optional<std::string> getSetting(std::string_view app, std::string_view section,
                                      std::string_view key);
using galvix::settingsPath;

// The folder for temporary files ($TMPDIR or /tmp by default), without a trailing slash.
std::string tempFolder();

// Makes `host` the current one on this thread for the scope's life (null: keep the current).
class RunHost {
 public:
  explicit RunHost(HostServices* host);
  ~RunHost();
  RunHost(const RunHost&) = delete;
  RunHost& operator=(const RunHost&) = delete;

 private:
  HostServices* previous_;
};

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
