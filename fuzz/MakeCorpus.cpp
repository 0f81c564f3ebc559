// vx_fuzz_corpus CORPUS_DIR SHOW_DIR: writes the seed corpora of the fuzz
// targets into CORPUS_DIR/<target>/, every seed made by the project's own
// writers (the archive writer, the image and movie writers of the test
// suites, the show generator's movie and MP3 encoders) and the example
// show's scripts from SHOW_DIR. Seeds are small (a few KB) and the output
// depends on nothing but this code, so a rerun writes the same bytes.
//
// Regression inputs for faults the fuzzers found live beside the seeds
// (named "regress-*") and are not written here.
#include "TestImages.h"
#include "TestMovies.h"
#include "archive/ResourceFilter.h"
#include "fuzz/FuzzSupport.h"
#include "tools/ArchiveWriter.h"
#include "tools/showgen/Mp3Encoder.h"
#include "tools/showgen/SwfFile.h"

#include "scene/VxkWriter.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string g_root;

void put(const std::string& target, const std::string& name, const std::string& bytes) {
  const fs::path dir = fs::path(g_root) / target;
  fs::create_directories(dir);
  std::ofstream out(dir / name, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "vx_fuzz_corpus: cannot write %s\n", (dir / name).c_str());
    std::exit(1);
  }
}

template <class Container>
std::string str(const Container& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

std::string readText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) {
    std::fprintf(stderr, "vx_fuzz_corpus: cannot read %s\n", path.c_str());
    std::exit(1);
  }
  return text.str();
}

std::string archiveOf(const std::vector<std::pair<std::string, std::string>>& files, std::uint32_t filterId,
                      std::uint32_t directoryFilterId = CFL_FILTER_ZLIB) {
  ArchiveWriter writer(directoryFilterId);
  for (const auto& [name, bytes] : files) {
    if (!writer.add(name, bytes.data(), bytes.size(), filterId)) {
      std::fprintf(stderr, "vx_fuzz_corpus: %s\n", writer.error().c_str());
      std::exit(1);
    }
  }
  std::vector<unsigned char> image;
  if (!writer.finish(&image)) std::exit(1);
  return str(image);
}

// A short A (440 Hz) with a fade, long enough for a few MPEG frames.
std::string tinyMp3() {
  StereoTrack track;
  track.rate = 44100;
  const int frames = track.rate / 4;  // 250 ms
  for (int i = 0; i < frames; ++i) {
    const float v = 0.3f * std::sin(6.2831853f * 440.0f * float(i) / float(track.rate)) * float(frames - i) / frames;
    track.samples.push_back(v);
    track.samples.push_back(v);
  }
  Bytes mp3;
  std::string error;
  if (!encodeMp3(track, 64, &mp3, &error)) {
    std::fprintf(stderr, "vx_fuzz_corpus: %s\n", error.c_str());
    std::exit(1);
  }
  return str(mp3);
}

void archiveSeeds() {
  const std::string text = "The archive holds any bytes; this entry is text.\n";
  std::string ramp;
  for (int i = 0; i < 96; ++i) ramp += char(i * 3);
  const std::vector<std::pair<std::string, std::string>> files = {{"demo.vxc", "loadimage a.png a\n"},
                                                                   {"notes/readme.txt", text},
                                                                   {"ramp.bin", ramp},
                                                                   {"empty", ""}};
  put("fuzz_archive", "zlib.cfl", archiveOf(files, CFL_FILTER_ZLIB));
  put("fuzz_archive", "plain.cfl", archiveOf(files, CFL_FILTER_NONE, CFL_FILTER_NONE));
  put("fuzz_archive", "delta8.cfl", archiveOf(files, CFL_FILTER_DELTA8));
  put("fuzz_archive", "delta16-zlib.cfl", archiveOf(files, CFL_FILTER_DELTA16 | CFL_FILTER_ZLIB));
  put("fuzz_archive", "delta32.cfl", archiveOf(files, CFL_FILTER_DELTA32, CFL_FILTER_DELTA32 | CFL_FILTER_ZLIB));
  // Appended to a "program": found through the trailer.
  const std::string archive = archiveOf(files, CFL_FILTER_ZLIB);
  put("fuzz_archive", "appended.bin",
      std::string("\x7F" "ELF program bytes before the archive", 37) + archive +
          str(ArchiveWriter::trailer(std::uint32_t(archive.size() + 8))));
}

void configSeeds() {
  put("fuzz_config", "object.cfg",
      "# a scene object's settings\nName = Camera01\nFOV = 45.5\nnear=1\nfar = 10000.0\n\ttarget = Box01 \r\n");
  put("fuzz_config", "keys.cfg",
      "POSTRACK = 0 1 2 3\nname = first\nNAME = second wins nothing\nvalue==5==6\n= no key\nno value =\n"
      "big = 99999999999\nneg = -12.5e3\nhex = 0x10\n");
  put("fuzz_config", "sequence.cfg", "fps = 25\nframes = 8\nloop = 1\nfile0 = a.png\nfile1 = b.png\n");
}

void imageSeeds() {
  const std::vector<D3DCOLOR> pixels = patternPixels(5, 3);
  PngOptions alpha;
  alpha.alpha = true;
  PngOptions grey;
  grey.grey = true;
  PngOptions grey2;
  grey2.grey = true;
  grey2.greyBits = 2;
  PngOptions palette;
  palette.palette = true;
  palette.transparentFirst = true;
  PngOptions deep;
  deep.sixteenBit = true;
  deep.interlaced = true;
  put("fuzz_image", "rgb.png", str(makePng(5, 3, pixels)));
  put("fuzz_image", "rgba.png", str(makePng(5, 3, pixels, alpha)));
  put("fuzz_image", "grey.png", str(makePng(5, 3, pixels, grey)));
  put("fuzz_image", "grey2.png", str(makePng(5, 3, pixels, grey2)));
  put("fuzz_image", "palette-trns.png", str(makePng(5, 3, pixels, palette)));
  put("fuzz_image", "deep-interlaced.png", str(makePng(5, 3, pixels, deep)));
  put("fuzz_image", "colour.jpg", str(makeJpeg(8, 8, patternPixels(8, 8), false, 75)));
  put("fuzz_image", "grey.jpg", str(makeJpeg(8, 8, patternPixels(8, 8), true, 75)));
  put("fuzz_image", "progressive.jpg", str(makeJpeg(8, 8, patternPixels(8, 8), false, 75, true)));
  put("fuzz_image", "rgb24.bmp", str(makeBmp(5, 3, pixels, 24)));
  put("fuzz_image", "rgb32-topdown.bmp", str(makeBmp(5, 3, pixels, 32, true)));
  put("fuzz_image", "palette8.bmp", str(makeBmp(5, 3, pixels, 8)));
  put("fuzz_image", "alpha-v5.bmp", str(makeBmpWithAlpha(5, 3, pixels)));
  put("fuzz_image", "rgb24.tga", str(makeTga(5, 3, pixels, 24)));
  put("fuzz_image", "rgba32-rle.tga", str(makeTga(5, 3, pixels, 32, true, true)));
  put("fuzz_image", "grey8.tga", str(makeTga(5, 3, pixels, 8)));
  put("fuzz_image", "rgb16.tga", str(makeTga(5, 3, pixels, 16, false, true)));
}

void sequenceSeeds() {
  put("fuzz_imageseq", "fps.seq", "fps = 10\na.png\nb.png\na.png\n");
  put("fuzz_imageseq", "timed.seq", "# time, then frame\n0 a.png\n120 b.png\t# note\n\n250.5 a.png\n");
  put("fuzz_imageseq", "mismatch.seq", "0 a.png\n40 c.bmp\n");
  put("fuzz_imageseq", "format.seq", "FPS==25\r\nd.jpg\r\na.png\r\n");
  put("fuzz_imageseq", "zero-fps.seq", "fps = 0\nb.png\nb.png\n");
  put("fuzz_imageseq", "missing.seq", "0 a.png\n10 nowhere.png\n");
}

void movieSeeds() {
  put("fuzz_swf", "plain.swf", str(plainMovie(6)));
  put("fuzz_swf", "compressed.swf", str(compressedMovie(12)));
  put("fuzz_swf", "showgen.swf", str(makeSwf(640, 480, 30, 50, 8)));
  TestMovie wide;
  wide.xMin = -20000;
  wide.xMax = 1 << 29;
  wide.rectBits = 31;
  put("fuzz_swf", "wide-rect.swf", str(movieFile(wide)));
  TestMovie lzma;
  lzma.signature = 'Z';
  put("fuzz_swf", "lzma.swf", str(movieFile(lzma)));
}

void scriptSeeds(const fs::path& showDir) {
  const std::vector<D3DCOLOR> pixels = patternPixels(8, 6);
  PngOptions alpha;
  alpha.alpha = true;
  const std::string png = str(makePng(8, 6, pixels, alpha));
  const std::string jpg = str(makeJpeg(8, 6, pixels, false, 60));
  const std::string mp3 = tinyMp3();
  const std::string swf = str(makeSwf(32, 24, 25, 4, 6));

  // The example show's own scripts over tiny stand-ins for its pictures.
  std::vector<FuzzFile> show = {{"demo.vxc", readText(showDir / "demo.vxc")},
                                {"part2.vxc", readText(showDir / "part2.vxc")}};
  for (const char* name : {"title.png", "subtitle.png", "stars.png", "orb.png", "credits.png"})
    show.push_back({name, png});
  show.push_back({"backdrop.jpg", jpg});
  show.push_back({"spin.seq", "fps = 8\nspin/frame00.png\nspin/frame01.png\n"});
  show.push_back({"spin/frame00.png", png});
  show.push_back({"spin/frame01.png", png});
  show.push_back({"tune.mp3", mp3});
  show.push_back({"intro.swf", swf});
  put("fuzz_script", "example-show", joinShowFiles(show));

  put("fuzz_script", "layers",
      joinShowFiles({{"demo.vxc",
                      "createcolor 255 0 128 Pink\nloadimage a.png pic\nsetlayer pic 3\nsetlayer pink -2\n"
                      "setlayerpos 3 10.5 -4\nsetlayeralphadelta 3 -0.5\nsetlayerposdelta -2 30 20\n"
                      "setlayeradditive 3 1\nwait 800\nremovelayer -2\nfreeimage pic\nwaituntil 2000\n"
                      "clearlayers\n"},
                     {"a.png", png}}));
  put("fuzz_script", "music-movie",
      joinShowFiles({{"demo.vxc",
                      "loadmusic m.mp3 song\nplaymusic song 100\nsetvolume 128\nloadflash f.swf clip\n"
                      "playflash clip 2 1\nsettime 0\nsetflashtime 50\nwait 900\nstopmusic\nstopflash\n"
                      "freeflash clip\nfreemusic song\n"},
                     {"m.mp3", mp3},
                     {"f.swf", swf}}));
  put("fuzz_script", "includes",
      joinShowFiles({{"demo.vxc", "# top\ninclude one.vxc 1000\nwaituntil 500\ninclude missing.vxc\n"},
                     {"one.vxc", "include two.vxc 250\nwait 100\n"},
                     {"two.vxc", "loadscene a.vxk s\nplayscene s 1.5\nsetscenetime 10\nxfadescene s 1 2 3\n"
                                 "shakecamera 1 2 3 4 5\nsetactivecamera Cam\nfreescene s\n"}}));
}

// fuzz_check: every show of fuzz_script, and shows made of the mistakes the
// checker reports, each kind at least once.
void checkSeeds() {
  const fs::path scripts = fs::path(g_root) / "fuzz_script";
  for (const auto& entry : fs::directory_iterator(scripts))
    if (entry.path().filename().string().rfind("regress-", 0) != 0)
      put("fuzz_check", entry.path().filename().string(), readText(entry.path()));
  const std::string png = str(makePng(8, 6, patternPixels(8, 6)));
  const std::string bmp = str(makeBmp(4, 4, patternPixels(4, 4), 24));
  put("fuzz_check", "mistakes",
      joinShowFiles({{"demo.vxc",
                      "# every kind of mistake\n\nplaysene a\nloadimage gone.png g\nloadimage a.bmp b\n"
                      "loadimage s.seq s\nsetlayer g 1\nsetlayer ghost 2\nfreeimage b\nsetlayer b 3\n"
                      "playscene none 1.0\nxfadescene none 1 2\nplaymusic none\nplayflash none\n"
                      "setlayeralpha 1 # half\nsettime 9000\nwaituntil 100\ninclude nowhere.vxc\n"
                      "include demo.vxc\nloadscene w.vxk w\nloadmusic t.mp3 t\nloadflash m.swf m\n"},
                     {"a.bmp", bmp},
                     {"s.seq", "0 f.png\n100 missing.png\n"},
                     {"f.png", png},
                     {"w.vxk", "not a scene"},
                     {"t.mp3", "not music"},
                     {"m.swf", "FWS"}}));
  put("fuzz_check", "music-left-playing",
      joinShowFiles({{"demo.vxc", "loadmusic t.mp3 t\nplaymusic t 0\nwait 10\n"}, {"t.mp3", tinyMp3()}}));
}

void sceneSeeds() {
  using namespace vxk;
  const std::string tga = str(makeTga(4, 4, patternPixels(4, 4), 24));
  const std::string png = str(makePng(4, 4, patternPixels(4, 4)));

  // A lit, textured, animated box seen by a camera.
  VxkWriter w;
  w.ambient(0xFF202020);
  w.group(1, NodeRecord{.name = "root"});
  w.camera(2, CameraRecord{.node = NodeRecord{.parentId = 1, .name = "Cam"}, .activationTimes = {0, 500},
                           .loopLength = 1000, .fogEnabled = true});
  w.light(3, LightRecord{.node = NodeRecord{.parentId = 1, .name = "Sun"}, .type = 3});
  w.group(4, NodeRecord{.parentId = 1, .name = "box", .configText = "glow = 1\nspin = 0.5", .meshId = 5});
  w.texture(20, "wall.tga");
  w.texture(21, "bump.png");
  w.material(10, MaterialRecord{.diffuseMap = 20, .normalMap = 21});
  w.vertices(6, VertexRecord{.attributeFlags = kVertexNormal | kVertexUv1,
                             .vertexCount = 3,
                             .frames = {{0, 0, 0, 1, 0, 0, 0, 1, 0}},
                             .normals = {0, 0, -1, 0, 0, -1, 0, 0, -1},
                             .uv1 = {0, 0, 1, 0, 0, 1}});
  w.indices(7, {0, 1, 2});
  w.mesh(5, MeshRecord{.nodeId = 4, .name = "boxMesh", .vertexBufferId = 6, .indexBufferId = 7,
                       .submeshes = {{.materialId = 10, .indexCount = 3}}});
  PRS a{}, b{};
  b.position = {1, 2, 3};
  w.prsAnimation(PRSAnimationRecord{.targetId = 4, .times = {0, 400, 900}, .values = {a, b, a}});
  w.floatAnimation(FloatAnimationRecord{.targetId = 2, .fieldName = "FOVTRACK", .times = {0, 1000},
                                        .values = {0.5f, 1.2f}});
  put("fuzz_vxk", "lit-box",
      joinShowFiles({{"scene.vxk", str(w.bytes())}, {"wall.tga", tga}, {"bump.png", png}}));

  // A nested file, an animated texture from a sequence file, sprites.
  VxkWriter child;
  child.group(1, NodeRecord{.name = "inner"});
  child.vertices(2, VertexRecord{.vertexCount = 1, .frames = {{0, 0, 0}, {1, 1, 1}}});
  child.vertexAnimation(VertexAnimationRecord{.targetId = 2, .loopLength = 300, .endTime = 300});
  VxkWriter outer;
  outer.group(1, NodeRecord{.name = "root"});
  outer.group(2, NodeRecord{.parentId = 1, .name = "nest", .configText = "loader = 1\nfilename = child.vxk"});
  outer.texture(3, "anim.tga");
  outer.sprite(4, SpriteRecord{.nodeId = 1, .textureId = 3, .size = 2.0f, .drawnInGlowPass = true});
  outer.cloud(5, CloudRecord{.nodeId = 2, .count = 8, .concentration = 0.5f, .textureId = 3});
  put("fuzz_vxk", "nested-sequence",
      joinShowFiles({{"scene.vxk", str(outer.bytes())},
                     {"child.vxk", str(child.bytes())},
                     {"anim.tga", tga},
                     {"frame.tga", tga},
                     {"anim.seq", "images = 2\ni0 = anim.tga\ni1 = frame.tga\nanimations = 1\n"
                                  "a0.field = Active Image\na0.keyframes = 2\na0.kf0 = 0 0\na0.kf1 = 100 2\n"}}));

  put("fuzz_animseq", "images.seq", "images = 3\ni0 = a.tga\ni1 = b.png\ni2 = c.jpg\n");
  put("fuzz_animseq", "keys.seq",
      "images = 2\ni0 = a.tga\ni1 = c.jpg\nanimations = 2\na0.field = Active Image\na0.keyframes = 3\n"
      "a0.kf0 = 0 0\na0.kf1 = 50 1\na0.kf2 = 120 5\na1.field = Tex U Offset\na1.keyframes = 1\na1.kf0 = 10 0.25\n");
  put("fuzz_animseq", "own-image.seq", "images = 0\nanimations = 1\na0.field = Tex V Scale\na0.keyframes = 2\n"
                                       "a0.kf0 = -5 1\na0.kf1 = 5 2\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: vx_fuzz_corpus CORPUS_DIR SHOW_DIR\n");
    return 2;
  }
  g_root = argv[1];
  archiveSeeds();
  configSeeds();
  imageSeeds();
  sequenceSeeds();
  movieSeeds();
  scriptSeeds(argv[2]);
  checkSeeds();
  sceneSeeds();
  return 0;
}
