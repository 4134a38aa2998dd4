// What the engine and report handlers need from the host (the public galvix::HostServices):
// message boxes, the busy pointer, the clock, settings and the temporary folder.
#pragma once

#include <memory>
#include <string>

#include "galvix/host.h"

namespace galvix::engine {

using galvix::HostServices;
using galvix::MessageIcon;

// Prints "caption: text" to stderr.
class StderrHostServices : public HostServices {
 public:
  void message(const std::string& text, const std::string& caption, MessageIcon icon) override;
};

using galvix::defaultHostServices;

}  // namespace galvix::engine
