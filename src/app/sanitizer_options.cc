// In builds with LeakSanitizer: the toolkit and the libraries below it keep caches and type
// registrations for the life of the process on purpose; only our own leaks are of interest.
// Other builds never call this.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libgtk-3.so\n"
         "leak:libgdk-3.so\n"
         "leak:libgobject-2.0.so\n"
         "leak:libglib-2.0.so\n"
         "leak:libgio-2.0.so\n"
         "leak:libfontconfig.so\n"
         "leak:libpango\n"
         "leak:libcairo.so\n"
         "leak:libX11.so\n"
         "leak:libxkbcommon.so\n"
         "leak:libcanberra.so\n"
         "leak:libayatana\n"
         "leak:libdbusmenu\n";
}
