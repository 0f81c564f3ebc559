// vxtool join: the chunks of a render (vxtool render --chunk K/N) put back
// together: their frames moved into one numbered sequence, their WAVs joined
// into one, and with ffmpeg one MP4 of both.
//
// A chunk is a folder as the render scripts leave it: frameNNNNNN.png files
// named by their number in the whole render, and the chunk's music as
// "sound.wav" (16-bit PCM). Chunks are taken in the order of their frames,
// whatever order they are named in; together they must hold one unbroken run
// of frame numbers, each number once.
#include "tools/ArchiveCommands.h"
#include "tools/CommandLine.h"
#include "tools/ToolIO.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

const char* kJoinHelp =
    "usage: vxtool join CHUNK_DIR... [--frames DIR] [--wav FILE.wav] [--video FILE.mp4 --fps N] [--force]\n"
    "Puts the chunks of a render back together (vxtool render --chunk K/N --frames\n"
    "CHUNK_DIR --wav CHUNK_DIR/sound.wav): the frames are moved into DIR as one\n"
    "numbered sequence, the chunks' sound.wav files are joined into FILE.wav, and\n"
    "where ffmpeg is installed an MP4 of both is encoded at N frames per second.\n"
    "The chunks must hold one unbroken run of frame numbers between them; their\n"
    "order on the command line does not matter. Existing frames in DIR and an\n"
    "existing FILE.wav or FILE.mp4 are refused unless --force.\n";

constexpr const char* kChunkSound = "sound.wav";

struct Chunk {
  std::string dir;
  std::vector<std::int64_t> frames;  // ascending
};

std::string frameFile(std::int64_t k) {
  char name[40];
  std::snprintf(name, sizeof name, "frame%06lld.png", static_cast<long long>(k));
  return name;
}

// The number of a "frameNNNNNN.png" name (6 to 12 digits), or -1.
std::int64_t frameNumber(const std::string& name) {
  constexpr std::size_t prefix = 5, suffix = 4;  // "frame", ".png"
  if (name.size() < prefix + 6 + suffix || name.size() > prefix + 12 + suffix) return -1;
  if (name.compare(0, prefix, "frame") != 0 || name.compare(name.size() - suffix, suffix, ".png") != 0) return -1;
  const std::string digits = name.substr(prefix, name.size() - prefix - suffix);
  if (digits.find_first_not_of("0123456789") != std::string::npos) return -1;
  const std::int64_t k = std::stoll(digits);
  return frameFile(k) == name ? k : -1;  // one spelling per number
}

bool readChunk(const std::string& dir, Chunk* chunk, std::string* error) {
  chunk->dir = dir;
  std::error_code failed;
  fs::directory_iterator it(dir, failed);
  if (failed) return *error = "cannot read chunk folder '" + dir + "': " + failed.message(), false;
  for (const auto& entry : it) {
    const std::int64_t k = frameNumber(entry.path().filename().string());
    if (k >= 0) chunk->frames.push_back(k);
  }
  if (chunk->frames.empty()) return *error = "chunk folder '" + dir + "' holds no frames", false;
  std::sort(chunk->frames.begin(), chunk->frames.end());
  for (std::size_t i = 1; i < chunk->frames.size(); ++i)
    if (chunk->frames[i] != chunk->frames[i - 1] + 1)
      return *error = "chunk folder '" + dir + "' lacks " + frameFile(chunk->frames[i - 1] + 1), false;
  return true;
}

std::uint32_t le32(const std::vector<unsigned char>& b, std::size_t at) {
  return std::uint32_t(b[at]) | std::uint32_t(b[at + 1]) << 8 | std::uint32_t(b[at + 2]) << 16 |
         std::uint32_t(b[at + 3]) << 24;
}
std::uint16_t le16(const std::vector<unsigned char>& b, std::size_t at) {
  return std::uint16_t(b[at] | b[at + 1] << 8);
}
void put32(std::vector<unsigned char>& b, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
void put16(std::vector<unsigned char>& b, std::uint16_t v) {
  b.push_back(static_cast<unsigned char>(v));
  b.push_back(static_cast<unsigned char>(v >> 8));
}

struct WavFormat {
  std::uint16_t channels = 0, bits = 0;
  std::uint32_t rate = 0;
  bool operator==(const WavFormat&) const = default;
};

// Appends the samples of a 16-bit PCM WAV to *samples, chunk by chunk of the
// RIFF file (whatever other chunks it holds).
bool appendWav(const std::string& path, WavFormat* format, std::vector<unsigned char>* samples, std::string* error) {
  std::vector<unsigned char> bytes;
  if (!readFile(path, &bytes, error)) return false;
  const std::string bad = "'" + path + "' is not a 16-bit PCM WAV";
  if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 || std::memcmp(bytes.data() + 8, "WAVE", 4) != 0)
    return *error = bad, false;
  bool haveFormat = false, haveData = false;
  for (std::size_t at = 12; at + 8 <= bytes.size() && !haveData;) {
    const std::uint32_t size = le32(bytes, at + 4);
    if (size > bytes.size() - at - 8) return *error = bad + " (a chunk runs past its end)", false;
    const std::size_t body = at + 8;
    if (std::memcmp(bytes.data() + at, "fmt ", 4) == 0) {
      if (size < 16 || le16(bytes, body) != 1) return *error = bad, false;
      format->channels = le16(bytes, body + 2);
      format->rate = le32(bytes, body + 4);
      format->bits = le16(bytes, body + 14);
      if (format->bits != 16 || format->channels == 0) return *error = bad, false;
      haveFormat = true;
    } else if (std::memcmp(bytes.data() + at, "data", 4) == 0) {
      if (!haveFormat) return *error = bad + " (samples before their format)", false;
      samples->insert(samples->end(), bytes.begin() + std::ptrdiff_t(body), bytes.begin() + std::ptrdiff_t(body + size));
      haveData = true;
    }
    at = body + size + (size & 1);  // chunks are padded to even sizes
  }
  if (!haveData) return *error = bad + " (no samples)", false;
  return true;
}

bool haveFfmpeg() { return std::system("command -v ffmpeg >/dev/null 2>&1") == 0; }

std::string shellQuote(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

bool readRate(const std::string& text, double* fps) {
  char* end = nullptr;
  *fps = std::strtod(text.c_str(), &end);
  return !text.empty() && end && *end == 0 && *fps > 0 && *fps <= 1000;
}

// Moves a file, across file systems too (copy, then remove the original).
bool moveFile(const fs::path& from, const fs::path& to, bool force, std::string* error) {
  std::error_code failed;
  fs::rename(from, to, failed);
  if (!failed) return true;
  if (failed != std::errc::cross_device_link)
    return *error = "cannot move '" + from.string() + "' to '" + to.string() + "': " + failed.message(), false;
  fs::copy_file(from, to, force ? fs::copy_options::overwrite_existing : fs::copy_options::none, failed);
  if (!failed) fs::remove(from, failed);
  if (failed) return *error = "cannot move '" + from.string() + "' to '" + to.string() + "': " + failed.message(), false;
  return true;
}

class ScratchFolder {
 public:
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path.empty()) fs::remove_all(path, ignored);
  }
  bool make(std::string* error) {
    char pattern[] = "/tmp/vxtool-join-XXXXXX";
    if (!::mkdtemp(pattern)) return *error = "cannot create a scratch folder", false;
    path = pattern;
    return true;
  }
  std::string path;
};

}  // namespace

int joinCommand(const Args& args) {
  if (wantsHelp(args)) return help(kJoinHelp);
  Parsed p = parseArgs(args, {"--frames", "--wav", "--video", "--fps"}, {"--force"});
  if (!p.error.empty()) return fail(p.error);
  if (p.positional.empty()) return fail("join needs the chunk folders (see vxtool join --help)");
  const std::string* framesDir = p.get("--frames");
  const std::string* wavPath = p.get("--wav");
  const std::string* videoPath = p.get("--video");
  const bool force = p.has("--force");
  if (!framesDir && !wavPath && !videoPath) return fail("join needs at least one of --frames, --wav, --video");
  double fps = 0;
  if (videoPath && !p.get("--fps")) return fail("--video needs --fps (the rate the chunks were rendered at)");
  if (const std::string* v = p.get("--fps"); v && !readRate(*v, &fps)) return fail("bad --fps '" + *v + "' (0 to 1000)");
  if (videoPath && !haveFfmpeg()) return fail("ffmpeg is not installed; no video can be written");

  std::string error;
  std::vector<Chunk> chunks(p.positional.size());
  for (std::size_t i = 0; i < chunks.size(); ++i)
    if (!readChunk(p.positional[i], &chunks[i], &error)) return fail(error);
  std::sort(chunks.begin(), chunks.end(), [](const Chunk& a, const Chunk& b) { return a.frames[0] < b.frames[0]; });
  for (std::size_t i = 1; i < chunks.size(); ++i) {
    const std::int64_t end = chunks[i - 1].frames.back(), next = chunks[i].frames.front();
    if (next <= end)
      return fail("chunks '" + chunks[i - 1].dir + "' and '" + chunks[i].dir + "' both hold " + frameFile(next));
    if (next > end + 1)
      return fail("no chunk holds " + frameFile(end + 1) + " (between '" + chunks[i - 1].dir + "' and '" +
                  chunks[i].dir + "')");
  }
  const std::int64_t first = chunks.front().frames.front(), last = chunks.back().frames.back();

  // Everything is checked before anything is moved or written.
  if (wavPath && !force && fs::exists(*wavPath)) return fail("'" + *wavPath + "' exists (use --force to replace it)");
  if (videoPath && !force && fs::exists(*videoPath))
    return fail("'" + *videoPath + "' exists (use --force to replace it)");
  if (framesDir && !force)
    for (std::int64_t k = first; k <= last; ++k)
      if (fs::exists(fs::path(*framesDir) / frameFile(k)))
        return fail("'" + (fs::path(*framesDir) / frameFile(k)).string() + "' exists (use --force to replace it)");

  // The sound: every chunk's or none.
  std::vector<unsigned char> samples;
  WavFormat format;
  std::size_t withSound = 0;
  for (const Chunk& chunk : chunks) withSound += fs::exists(fs::path(chunk.dir) / kChunkSound);
  if (withSound != 0 && withSound != chunks.size()) return fail("some chunks have no " + std::string(kChunkSound));
  if (wavPath && withSound == 0) return fail("the chunks hold no " + std::string(kChunkSound) + " to join");
  ScratchFolder scratch;
  std::string joinedWav;
  if (withSound != 0 && (wavPath || videoPath)) {
    for (const Chunk& chunk : chunks) {
      WavFormat mine;
      if (!appendWav((fs::path(chunk.dir) / kChunkSound).string(), &mine, &samples, &error)) return fail(error);
      if (&chunk != &chunks.front() && !(mine == format))
        return fail("'" + chunk.dir + "/" + kChunkSound + "' differs in format from the first chunk's");
      format = mine;
    }
    if (samples.size() > 0xFFFFFFFFull - 36) return fail("the joined sound is too long for a WAV (4 GiB)");
    std::vector<unsigned char> wav;
    wav.insert(wav.end(), {'R', 'I', 'F', 'F'});
    put32(wav, std::uint32_t(36 + samples.size()));
    wav.insert(wav.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    put32(wav, 16);
    put16(wav, 1);  // PCM
    put16(wav, format.channels);
    put32(wav, format.rate);
    put32(wav, format.rate * format.channels * 2);  // bytes per second
    put16(wav, std::uint16_t(format.channels * 2));  // bytes per sample frame
    put16(wav, 16);
    wav.insert(wav.end(), {'d', 'a', 't', 'a'});
    put32(wav, std::uint32_t(samples.size()));
    wav.insert(wav.end(), samples.begin(), samples.end());
    samples.clear();
    if (!wavPath && !scratch.make(&error)) return fail(error);
    joinedWav = wavPath ? *wavPath : scratch.path + "/sound.wav";
    if (!writeFileSafely(joinedWav, wav.data(), wav.size(), force, 0644, &error)) return fail(error);
  }

  // The frames: moved into one folder, or for the video alone linked into a
  // scratch folder, leaving the chunks as they are.
  std::string sequenceDir;
  if (framesDir) {
    if (!makeDirectories(*framesDir, &error)) return fail(error);
    for (const Chunk& chunk : chunks)
      for (std::int64_t k : chunk.frames)
        if (!moveFile(fs::path(chunk.dir) / frameFile(k), fs::path(*framesDir) / frameFile(k), force, &error))
          return fail(error);
    sequenceDir = *framesDir;
  } else if (videoPath) {
    if (scratch.path.empty() && !scratch.make(&error)) return fail(error);
    sequenceDir = scratch.path;
    for (const Chunk& chunk : chunks)
      for (std::int64_t k : chunk.frames) {
        std::error_code failed;
        fs::create_symlink(fs::absolute(fs::path(chunk.dir) / frameFile(k)), fs::path(sequenceDir) / frameFile(k),
                           failed);
        if (failed) return fail("cannot link the frames for ffmpeg: " + failed.message());
      }
  }

  if (videoPath) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%g", fps);
    std::string command = "ffmpeg -loglevel error -y -framerate " + std::string(rate) + " -start_number " +
                          std::to_string(first) + " -i " + shellQuote(sequenceDir + "/frame%06d.png");
    if (!joinedWav.empty()) command += " -i " + shellQuote(joinedWav);
    command += " -c:v libx264 -pix_fmt yuv420p";
    if (!joinedWav.empty()) command += " -c:a aac -b:a 192k -shortest";
    command += " " + shellQuote(*videoPath);
    if (std::system(command.c_str()) != 0) return fail("ffmpeg failed to write '" + *videoPath + "'");
  }
  std::fprintf(stderr, "joined %zu chunks: frames %lld ... %lld\n", chunks.size(), static_cast<long long>(first),
               static_cast<long long>(last));
  return 0;
}
