// Subcommand registry: each cmd_*.cpp adds its subcommand with a static Registration.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

namespace galvix::cli {

// Exit codes: 0 success, 1 failure while running, 2 bad usage or unknown name.
using Setup = std::function<void(CLI::App& app)>;

std::vector<Setup>& registry();

struct Registration {
  explicit Registration(Setup s) { registry().push_back(std::move(s)); }
};

// Thrown by subcommand callbacks to end with a message on stderr and an exit code.
struct Exit {
  int code;
  std::string message;
};

}  // namespace galvix::cli
