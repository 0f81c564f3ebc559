#pragma once
// Shared set-up of the benchmarks that run the example show: its generated
// files in a temporary folder, the working directory moved there for a
// while, and the player's off-screen device.
#include "platform/gfx/Direct3D9.h"
#include "tools/DeviceHolder.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace benchshow {

inline std::string shellQuote(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// What `showgen` (the path of vx_showgen) writes, in a temporary folder
// removed with this object, and, when `scriptsDir` is given, the scripts
// found there copied beside them. error() is empty when it all worked.
class GeneratedShow {
 public:
  GeneratedShow(const std::string& showgen, const std::string& scriptsDir = {}) {
    namespace fs = std::filesystem;
    std::string pattern = (fs::temp_directory_path() / "vx-bench-show-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
      m_error = "cannot create a temporary folder";
      return;
    }
    m_path = pattern;
    const std::string command = shellQuote(showgen) + " " + shellQuote(m_path) + " >/dev/null";
    if (std::system(command.c_str()) != 0) {
      m_error = "vx_showgen failed: " + command;
      return;
    }
    if (scriptsDir.empty()) return;
    std::error_code failed;
    for (const auto& entry : fs::directory_iterator(scriptsDir, failed)) {
      if (!entry.is_regular_file()) continue;
      fs::copy_file(entry.path(), fs::path(m_path) / entry.path().filename(), fs::copy_options::overwrite_existing,
                    failed);
      if (failed) break;
    }
    if (failed) m_error = "cannot copy the example scripts: " + failed.message();
    else if (!fs::exists(fs::path(m_path) / "demo.vxc")) m_error = "no demo.vxc in " + scriptsDir;
  }
  ~GeneratedShow() {
    std::error_code ignored;
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
  }
  GeneratedShow(const GeneratedShow&) = delete;
  GeneratedShow& operator=(const GeneratedShow&) = delete;

  const std::string& path() const { return m_path; }
  const std::string& error() const { return m_error; }
  // Names of the files in the folder whose names end in `suffix`.
  std::vector<std::string> files(const std::string& suffix) const {
    std::vector<std::string> names;
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator(m_path, failed)) {
      const std::string name = entry.path().filename().string();
      if (name.size() >= suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        names.push_back(name);
    }
    return names;
  }

 private:
  std::string m_path, m_error;
};

// Runs in `dir` until destroyed.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& dir) : m_old(std::filesystem::current_path()) {
    std::filesystem::current_path(dir);
  }
  ~WorkingDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(m_old, ignored);
  }

 private:
  std::filesystem::path m_old;
};

// The tools' device (createShowDevice), off screen under SDL's offscreen
// driver. Null when it cannot be made.
inline IDirect3DDevice9* createShowDevice(IDirect3D9* d3d, UINT width = 800, UINT height = 600) {
  IDirect3DDevice9* device = nullptr;
  if (FAILED(::createShowDevice(d3d, width, height, nullptr, &device))) return nullptr;
  return device;
}

}  // namespace benchshow
