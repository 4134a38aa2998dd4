// What the engine and report handlers need from the host: message boxes, the busy pointer.
// The default writes messages to stderr; the frame installs its own.
#pragma once

#include <memory>
#include <string>

namespace galvix::engine {

enum class MessageIcon { None, Critical, Question, Exclamation, Information };

class HostServices {
 public:
  virtual ~HostServices() = default;
  // A message box with the exact text, caption and icon; returns when it is closed.
  virtual void message(const std::string& text, const std::string& caption, MessageIcon icon) = 0;
  virtual void setBusy(bool /*busy*/) {}
  virtual void warning(const std::string& text);  // engine diagnostics (clipped bands, ...)
};

// Prints "caption: text" to stderr.
class StderrHostServices : public HostServices {
 public:
  void message(const std::string& text, const std::string& caption, MessageIcon icon) override;
};

std::shared_ptr<HostServices> defaultHostServices();

}  // namespace galvix::engine
