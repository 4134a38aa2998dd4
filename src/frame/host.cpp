#include "frame/host.h"

namespace galvix::frame {
namespace {
std::function<double()>& clockFn() {
  static std::function<double()> fn;
  return fn;
}

// The host of the run on this thread; reports on other threads have their own.
thread_local HostServices* t_runHost = nullptr;

HostServices& currentHost() {
  return t_runHost ? *t_runHost : *defaultHostServices();
}
}  // namespace

RunHost::RunHost(HostServices* host) : previous_(t_runHost) {
  if (host) t_runHost = host;
}
RunHost::~RunHost() {
  t_runHost = previous_;
}

double now() {
  if (clockFn()) return clockFn()();
  return currentHost().now();
}

void setClock(std::function<double()> clock) {
  clockFn() = std::move(clock);
}

std::optional<std::string> getSetting(std::string_view app, std::string_view section,
                                      std::string_view key) {
  return currentHost().setting(app, section, key);
}

std::string tempFolder() {
  return currentHost().tempFolder();
}

}  // namespace galvix::frame
