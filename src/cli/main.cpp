#include <sys/stat.h>

#include <filesystem>
#include <iostream>

#include "cli/command.h"
#include "render/render.h"

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

void refuseInputAsOutput(const std::string& output, const std::string& input) {
  struct stat out {
  }, in{};
  if (::stat(output.c_str(), &out) != 0 || ::stat(input.c_str(), &in) != 0) return;
  if (out.st_dev == in.st_dev && out.st_ino == in.st_ino)
    throw Exit{2, "galvix: '" + output + "' is the input '" + input +
                      "' itself; give another output file (nothing was written)"};
}

void refuseToReplace(const std::string& output, bool force) {
  std::error_code ec;
  if (!force && std::filesystem::exists(output, ec))
    throw Exit{2, "galvix: '" + output + "' exists; add --force to replace it"};
}
}  // namespace galvix::cli

int main(int argc, char** argv) {
  CLI::App app{"galvix: event-planning reports to PDF, PNG and SVG"};
  app.require_subcommand(1);
  // An interrupted run leaves no half-written output beside the user's files.
  galvix::render::removePartialOutputsOnSignals();
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
