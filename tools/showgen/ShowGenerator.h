#pragma once
// Writes the example show's generated content: the pictures, the spinning
// image sequence with its sequence file, the two 3D scenes with their
// textures, the music and an empty movie. The
// output depends on nothing but this code (fixed seeds, no time stamps), so
// every run writes the same bytes.
#include <cstdint>
#include <string>
#include <vector>

struct ShowFile {
  std::string name;        // relative to the output folder, '/' separated
  std::uintmax_t bytes = 0;
};

// Creates dir (and its parents) when missing and writes every file, replacing
// older ones. *written lists the files in the order written. False with
// *error ("path: reason") at the first failure.
bool generateShow(const std::string& dir, std::vector<ShowFile>* written, std::string* error);

// Only the two 3D scenes and the textures they name, as generateShow would
// write them.
bool generateScenes(const std::string& dir, std::vector<ShowFile>* written, std::string* error);

// The files generateShow writes, in that order.
std::vector<std::string> showFileNames();
