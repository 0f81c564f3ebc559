#pragma once
// What every fuzz target shares: the process set-up, the fatal exit turned
// into an exception, in-memory shows served through a CFL archive, and the
// recording device with a check that nothing it made outlives the input.
//
// A clean refusal of bad content (a message box, then ExitProcess) is a pass:
// ExitProcess throws FatalExit, which the target catches. Only crashes, hangs,
// leaks and sanitizer reports are failures.
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/os/Types.h"

class CFLArchive;
class RecordingDevice;

// Thrown by the fuzz build's ExitProcess hook; code is the exit code the
// player would have ended with.
struct FatalExit {
  UINT code;
};

// Once per process (from LLVMFuzzerInitialize): message boxes answer OK,
// ExitProcess throws FatalExit, the offline sound output, the movie host's
// window class, and a private scratch folder as the current directory (loose
// files of the show are looked up there, and movies are written out there).
void initFuzzProcess();

// Runs body; true when it ended through ExitProcess.
template <class Body>
bool refused(Body&& body) {
  try {
    body();
  } catch (const FatalExit&) {
    return true;
  }
  return false;
}

// A named file of an in-memory show.
struct FuzzFile {
  std::string name;
  std::string bytes;
};

// Splits a fuzz input into files: the bytes up to the first marker line
// "%%file NAME\n" are the file firstName; each marker starts the file NAME.
// Names are cut to 200 bytes; a later file of the same name replaces an
// earlier one.
std::vector<FuzzFile> splitShowFiles(const std::uint8_t* data, std::size_t size, const std::string& firstName);
// The inverse, for the corpus generator.
std::string joinShowFiles(const std::vector<FuzzFile>& files);

// The files packed with the project's archive writer (unfiltered entries, a
// zlib directory), written to the scratch folder and opened as g_archive for
// the object's life. Loose files in the scratch folder still win over it.
// Names that start with "/" or hold ".." are left out (movies are written
// out under their names).
class ShowArchive {
 public:
  explicit ShowArchive(const std::vector<FuzzFile>& files);
  ~ShowArchive();
  ShowArchive(const ShowArchive&) = delete;
  ShowArchive& operator=(const ShowArchive&) = delete;
  CFLArchive& archive() { return *m_archive; }

 private:
  CFLArchive* m_archive;
  CFLArchive* m_previous;
  std::string m_path;
};

// Writes bytes to a file of the scratch folder (the current directory).
void writeScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size);
void removeScratchFile(const std::string& name);

// A fresh recording device (800 x 600, inside BeginScene) for one input. When
// the object goes, every resource made on the device must have been released
// again: a survivor is reported and the process aborts, as a leak.
class FuzzDevice {
 public:
  FuzzDevice();
  ~FuzzDevice();
  FuzzDevice(const FuzzDevice&) = delete;
  FuzzDevice& operator=(const FuzzDevice&) = delete;
  RecordingDevice* get() const { return m_device; }

 private:
  RecordingDevice* m_device;
  int m_baseline;  // the device counts itself
};

// Sets the demo clock to ms of show time (the clock starts at counter 0).
void setShowClockMs(double ms);
