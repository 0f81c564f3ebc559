// fuzz_check: vxtool check on a show from the input.
//
// The input is split into files as for fuzz_script (FuzzSupport.h: "%%file
// NAME" lines; the first is "demo.vxc") and served from an archive. The
// checker parses the script with the player's parser, runs every command on
// the player's loaders and walks the timeline; whatever the files hold, it
// must come back with a report, never crash, hang or leak.
#include "fuzz/FuzzSupport.h"
#include "tools/ShowChecker.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  initFuzzProcess();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ShowArchive show(splitShowFiles(data, size, "demo.vxc"));
  CheckOptions options;
  options.quiet = false;  // sanitizer reports go to standard error
  CheckReport report;
  std::string error;
  if (!checkShow(options, &report, &error)) {
    std::fprintf(stderr, "fuzz_check: the check could not start: %s\n", error.c_str());
    std::abort();
  }
  // The report's own texts must be writable whatever the names hold.
  const std::string text = reportText(report) + reportJson(report);
  if (text.empty()) std::abort();
  return 0;
}
