// Reports measure text with pango, which loads fontconfig's configuration once per process and
// keeps it until exit; LeakSanitizer reports that cache as leaked.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}
