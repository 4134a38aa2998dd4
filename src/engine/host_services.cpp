#include "engine/host_services.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>

#include "runtime/dates.h"
#include "runtime/vb.h"

namespace galvix {
namespace {
std::string trim(std::string_view s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return {};
  size_t e = s.find_last_not_of(" \t\r\n");
  return std::string(s.substr(b, e - b + 1));
}
}  // namespace

void HostServices::warning(const std::string& text) {
  std::cerr << "warning: " << text << '\n';
}

double HostServices::now() {
  std::time_t t = std::time(nullptr);
  std::tm local{};
  localtime_r(&t, &local);
  return dateSerial(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) +
         timeSerial(local.tm_hour, local.tm_min, local.tm_sec);
}

std::string settingsPath(std::string_view app) {
  std::string dir;
  if (const char* x = std::getenv("XDG_CONFIG_HOME"); x && *x) {
    dir = x;
  } else if (const char* h = std::getenv("HOME"); h && *h) {
    dir = std::string(h) + "/.config";
  } else {
    dir = ".";
  }
  return dir + "/" + std::string(app) + ".ini";
}

std::optional<std::string> HostServices::setting(std::string_view app, std::string_view section,
                                                 std::string_view key) {
  std::ifstream in(settingsPath(app));
  if (!in) return std::nullopt;
  std::string line, current;
  while (std::getline(in, line)) {
    std::string t = trim(line);
    if (t.empty() || t[0] == ';' || t[0] == '#') continue;
    if (t.front() == '[' && t.back() == ']') {
      current = trim(std::string_view(t).substr(1, t.size() - 2));
      continue;
    }
    auto eq = t.find('=');
    if (eq == std::string::npos) continue;
    if (vb::compareTextNoCase(current, section) == 0 &&
        vb::compareTextNoCase(trim(std::string_view(t).substr(0, eq)), key) == 0)
      return trim(std::string_view(t).substr(eq + 1));
  }
  return std::nullopt;
}

std::string HostServices::tempFolder() {
  std::string t = "/tmp";
  if (const char* x = std::getenv("TMPDIR"); x && *x) t = x;
  while (t.size() > 1 && t.back() == '/') t.pop_back();
  return t;
}

std::shared_ptr<HostServices> defaultHostServices() {
  static auto h = std::make_shared<engine::StderrHostServices>();
  return h;
}

namespace engine {
void StderrHostServices::message(const std::string& text, const std::string& caption,
                                 MessageIcon /*icon*/) {
  std::cerr << caption << ": " << text << '\n';
}
}  // namespace engine

}  // namespace galvix
