#include "tools/showgen/ShowGenerator.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <future>

#include "tools/showgen/ImageFiles.h"
#include "tools/showgen/Mp3Encoder.h"
#include "tools/showgen/Pictures.h"
#include "tools/showgen/SceneFile.h"
#include "tools/showgen/SceneTextures.h"
#include "tools/showgen/SwfFile.h"
#include "tools/showgen/TextCard.h"
#include "tools/showgen/Tune.h"

namespace {

constexpr int kJpegQuality = 90;
constexpr int kMp3Kbps = 128;  // about 1 MB for the 64 seconds

std::string spinFrameName(int frame) {
  char name[32];
  std::snprintf(name, sizeof name, "spin/frame%02d.png", frame);
  return name;
}

// One output file and how to make its bytes.
struct Product {
  std::string name;
  std::function<bool(Bytes*, std::string*)> make;
};

std::function<bool(Bytes*, std::string*)> png(Canvas (*paint)(), PngColour colour) {
  return [=](Bytes* out, std::string* error) { return encodePng(paint(), colour, out, error); };
}

std::function<bool(Bytes*, std::string*)> jpeg(std::function<Canvas()> paint) {
  return [=](Bytes* out, std::string* error) { return encodeJpeg(paint(), kJpegQuality, out, error); };
}

std::function<bool(Bytes*, std::string*)> scene(Bytes (*make)()) {
  return [=](Bytes* out, std::string*) {
    *out = make();
    return true;
  };
}

// The 3D scenes' textures, under the names the scene files give them.
std::vector<Product> sceneProducts() {
  std::vector<Product> products;
  for (int face = 0; face < 6; ++face) {
    products.push_back({skyFaceName("space", face), jpeg([face] { return makeSkyFace(Sky::space, face); })});
    products.push_back({skyFaceName("dusk", face), jpeg([face] { return makeSkyFace(Sky::dusk, face); })});
  }
  products.push_back({"planet.jpg", jpeg(makePlanet)});
  products.push_back({"planet-normal.png", png(makePlanetNormals, PngColour::straight)});
  products.push_back({"atmosphere.png", png(makeAtmosphere, PngColour::straight)});
  products.push_back({"panels.jpg", jpeg(makePanels)});
  products.push_back({"panels-normal.png", png(makePanelNormals, PngColour::straight)});
  products.push_back({"tiles.jpg", jpeg(makeTiles)});
  products.push_back({"tiles-normal.png", png(makeTileNormals, PngColour::straight)});
  products.push_back({"chrome.png", png(makeChrome, PngColour::straight)});
  products.push_back({"spark.png", png(makeSpark, PngColour::premultiplied)});
  products.push_back({"ember.png", png(makeEmber, PngColour::premultiplied)});
  products.push_back({"orbit.vxk", scene(makeOrbitScene)});
  products.push_back({"hall.vxk", scene(makeHallScene)});
  return products;
}

std::vector<Product> pictureProducts() {
  std::vector<Product> products = {
      {"title.png", png(makeTitle, PngColour::straight)},
      {"subtitle.png", png(makeSubtitle, PngColour::straight)},
      {"credits.png", png(makeCredits, PngColour::straight)},
      {"backdrop.jpg", [](Bytes* out, std::string* error) { return encodeJpeg(makeBackdrop(), kJpegQuality, out, error); }},
      {"stars.png", png(makeStars, PngColour::premultiplied)},
      {"orb.png", png(makeOrb, PngColour::premultiplied)},
  };
  for (int frame = 0; frame < kSpinFrames; ++frame)
    products.push_back({spinFrameName(frame), [frame](Bytes* out, std::string* error) {
                          return encodePng(makeSpinFrame(frame, kSpinFrames), PngColour::premultiplied, out, error);
                        }});
  products.push_back({"spin.seq", [](Bytes* out, std::string*) {
                        std::string text = "fps = " + std::to_string(kSpinFramesPerSecond) + "\n";
                        for (int frame = 0; frame < kSpinFrames; ++frame) text += spinFrameName(frame) + "\n";
                        out->assign(text.begin(), text.end());
                        return true;
                      }});
  for (Product& product : sceneProducts()) products.push_back(std::move(product));
  products.push_back({"intro.swf", [](Bytes* out, std::string*) {
                        *out = makeSwf(800, 600, 25, 50, 6);
                        return true;
                      }});
  return products;
}

bool makeTune(Bytes* out, std::string* error) { return encodeMp3(synthesiseTune(), kMp3Kbps, out, error); }

bool makeFolders(const std::string& dir, std::string* error) {
  namespace fs = std::filesystem;
  std::error_code code;
  for (const fs::path& folder : {fs::path(dir), fs::path(dir) / "spin"}) {
    fs::create_directories(folder, code);
    if (code || !fs::is_directory(folder)) {
      *error = folder.string() + ": " + (code ? code.message() : "not a folder");
      return false;
    }
  }
  return true;
}

// Makes and writes each product in order; false at the first failure.
bool writeProducts(const std::string& dir, const std::vector<Product>& products, std::vector<ShowFile>* written,
                   std::string* error) {
  namespace fs = std::filesystem;
  for (const Product& product : products) {
    Bytes bytes;
    std::string reason;
    if (!product.make(&bytes, &reason)) {
      *error = (fs::path(dir) / product.name).string() + ": " + reason;
      return false;
    }
    if (!writeFile((fs::path(dir) / product.name).string(), bytes, error)) return false;
    written->push_back({product.name, bytes.size()});
  }
  return true;
}

}  // namespace

std::vector<std::string> showFileNames() {
  std::vector<std::string> names;
  for (const Product& product : pictureProducts()) names.push_back(product.name);
  names.push_back("tune.mp3");
  return names;
}

bool generateShow(const std::string& dir, std::vector<ShowFile>* written, std::string* error) {
  written->clear();
  if (!makeFolders(dir, error)) return false;
  // The music takes about as long as all the pictures together: it is made
  // on a second thread meanwhile.
  std::string tuneError;
  Bytes tune;
  std::future<bool> tuneDone = std::async(std::launch::async, makeTune, &tune, &tuneError);
  const bool ok = writeProducts(dir, pictureProducts(), written, error);
  const bool tuneOk = tuneDone.get();
  if (!ok) return false;
  if (!tuneOk) {
    *error = (std::filesystem::path(dir) / "tune.mp3").string() + ": " + tuneError;
    return false;
  }
  return writeProducts(dir, {{"tune.mp3", [&](Bytes* out, std::string*) {
                                *out = tune;
                                return true;
                              }}},
                       written, error);
}

bool generateScenes(const std::string& dir, std::vector<ShowFile>* written, std::string* error) {
  written->clear();
  if (!makeFolders(dir, error)) return false;
  const std::vector<std::string> textures = sceneTextureNames();
  std::vector<Product> products;
  for (Product& product : pictureProducts())
    if (product.name.ends_with(".vxk") || std::find(textures.begin(), textures.end(), product.name) != textures.end())
      products.push_back(std::move(product));
  return writeProducts(dir, products, written, error);
}
