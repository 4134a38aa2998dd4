#include "engine/host_services.h"

#include <iostream>

namespace galvix::engine {

void HostServices::warning(const std::string& text) {
  std::cerr << "warning: " << text << '\n';
}

void StderrHostServices::message(const std::string& text, const std::string& caption,
                                 MessageIcon /*icon*/) {
  std::cerr << caption << ": " << text << '\n';
}

std::shared_ptr<HostServices> defaultHostServices() {
  static auto h = std::make_shared<StderrHostServices>();
  return h;
}

}  // namespace galvix::engine
