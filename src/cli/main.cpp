#include <iostream>

#include "cli/command.h"

// In sanitizer builds: fontconfig keeps its configuration for the life of the process, which
// LeakSanitizer would report (and fail the run for) at exit.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace galvix::cli {
std::vector<Setup>& registry() {
  static std::vector<Setup> r;
  return r;
}
}  // namespace galvix::cli

int main(int argc, char** argv) {
  CLI::App app{"galvix: event-planning reports to PDF, PNG and SVG"};
  app.require_subcommand(1);
  for (auto& setup : galvix::cli::registry()) setup(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  } catch (const galvix::cli::Exit& e) {
    if (!e.message.empty()) std::cerr << e.message << "\n";
    return e.code;
  } catch (const std::exception& e) {
    std::cerr << "galvix: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
