// Image layers drawn by the OpenGL device on an 800 x 600 off-screen back
// buffer (X8R8G8B8), read back pixel by pixel. Expected colours are worked
// out by hand from the pictures, the layer values and Direct3D 9's blending:
// blend factors are bytes / 255, results rounded to the nearest byte.
//
// Where a layer lands: Direct3D 9 puts pixel centres on integer coordinates.
// The layer's world translation is (x + 0.5, (600 - h) - y + 0.5) in an
// orthographic space whose y points up, so the quad's edges fall on screen at
// x + 0.5 .. x + w + 0.5 across and y - 0.5 .. y + h - 0.5 down: it covers
// columns x + 1 .. x + w and rows y .. y + h - 1, every pixel centre half a
// texel into its texel. The picture thus sits one column right of (x, y), and
// a full-screen colour rectangle leaves column 0 uncovered.
#include "layers/ImageBlitter.h"

#include "ArchiveTestUtil.h"
#include "GlTestDevice.h"
#include "TestImages.h"
#include "platform/os/MessageBox.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>

namespace {

constexpr int kScreenWidth = 800;
constexpr int kScreenHeight = 600;

// First column and row a layer at (x, y) covers (see the top of the file).
int firstColumn(float x) { return int(std::ceil(x + 0.5f)); }
int firstRow(float y) { return int(std::ceil(y - 0.5f)); }

// Channel-wise comparison of the colour bytes (the back buffer has no alpha).
bool sameRgb(D3DCOLOR a, D3DCOLOR b, int tolerance) { return gltest::near(a & 0xFFFFFF, b & 0xFFFFFF, tolerance); }

std::vector<D3DCOLOR> solid(int count, D3DCOLOR c) { return std::vector<D3DCOLOR>(std::size_t(count), c); }

// A picture with a distinct opaque colour per texel, none of them grey.
std::vector<D3DCOLOR> distinctTexels(int width, int height, int salt = 0) {
  std::vector<D3DCOLOR> texels;
  for (int row = 0; row < height; ++row)
    for (int column = 0; column < width; ++column)
      texels.push_back(D3DCOLOR_ARGB(255, 30 + 40 * column + salt, 40 + 60 * row, 0xE0 - 20 * salt));
  return texels;
}

class ImageBlitterGl : public gltest::GlDeviceTest {
 protected:
  void SetUp() override {
    SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
    gltest::DeviceOptions options;
    options.width = kScreenWidth;
    options.height = kScreenHeight;
    open(options);  // leaves the device inside BeginScene
  }
  void TearDown() override {
    GlDeviceTest::TearDown();  // EndScene, and every blitter must be gone by now
    SetMessageBoxHook(nullptr);
  }

  std::unique_ptr<ImageBlitter> load(const std::string& name, const Bytes& file) {
    m_dir.write(name, file);
    auto blitter = std::make_unique<ImageBlitter>(m_device, name.c_str(), kScreenWidth, kScreenHeight, false,
                                                  0xFFFFFFFFu);
    blitter->additive = false;  // blitters start additive; most layers are not
    return blitter;
  }
  std::unique_ptr<ImageBlitter> colour(D3DCOLOR argb) {
    auto blitter = std::make_unique<ImageBlitter>(m_device, "", kScreenWidth, kScreenHeight, true, argb);
    blitter->additive = false;
    return blitter;
  }
  void draw(ImageBlitter& layer, float x, float y, float alpha = 1.0f, float t = 0.0f) {
    layer.x = x;
    layer.y = y;
    layer.alpha = alpha;
    layer.Draw(t);
  }

  // Compares the whole back buffer with expected(column, row); reports the
  // number of wrong pixels and the first few.
  void expectFrame(const std::function<D3DCOLOR(int, int)>& expected, int tolerance = 0) {
    const std::vector<D3DCOLOR> pixels = frame();
    ASSERT_EQ(pixels.size(), std::size_t(kScreenWidth * kScreenHeight));
    int wrong = 0;
    std::ostringstream first;
    for (int row = 0; row < kScreenHeight; ++row)
      for (int column = 0; column < kScreenWidth; ++column) {
        const D3DCOLOR want = expected(column, row), got = pixels[std::size_t(row * kScreenWidth + column)];
        if (sameRgb(got, want, tolerance)) continue;
        if (wrong++ < 6)
          first << " (" << column << ", " << row << "): 0x" << std::hex << (got & 0xFFFFFF) << " not 0x"
                << (want & 0xFFFFFF) << std::dec << ";";
      }
    EXPECT_EQ(wrong, 0) << "wrong pixels, first:" << first.str();
  }

  // The picture's texels at the place a layer at (x, y) covers, background
  // everywhere else.
  void expectPictureAt(const std::vector<D3DCOLOR>& texels, int width, int height, float x, float y,
                       D3DCOLOR background) {
    const int left = firstColumn(x), top = firstRow(y);
    expectFrame([&](int column, int row) {
      const int u = column - left, v = row - top;
      if (u < 0 || u >= width || v < 0 || v >= height) return background;
      return texels[std::size_t(v * width + u)];
    });
  }

  D3DCOLOR at(int column, int row) { return rgb(UINT(column), UINT(row)); }
  // The pixel showing texel (u, v) of a layer at its last drawn position;
  // u or v outside the picture gives its neighbours.
  D3DCOLOR shown(const ImageBlitter& layer, int u, int v) {
    return at(firstColumn(layer.x) + u, firstRow(layer.y) + v);
  }

  TempDir m_dir;
  CurrentDirectory m_inDir{m_dir.path()};
};

}  // namespace

TEST_F(ImageBlitterGl, PictureLandsTexelForPixelWhereverItIsPlaced) {
  constexpr int w = 5, h = 3;
  const std::vector<D3DCOLOR> texels = distinctTexels(w, h);
  auto picture = load("pattern.png", makePng(w, h, texels));
  ASSERT_EQ(picture->format, D3DFMT_X8R8G8B8);
  const D3DCOLOR background = 0xFF101010;

  // (x, y) and where its top-left texel is expected; the last two are cut
  // by the right and bottom edges, the fractional one rounds to (10, 20).
  const struct {
    float x, y;
    int column, row;
  } places[] = {{0, 0, 1, 0},           {0, 100, 1, 100},      {37, 250, 38, 250},
                {10.25f, 20.25f, 11, 20}, {794, 597, 795, 597}, {797, 598, 798, 598}};
  for (const auto& place : places) {
    SCOPED_TRACE(::testing::Message() << "layer at (" << place.x << ", " << place.y << ")");
    ASSERT_EQ(firstColumn(place.x), place.column);
    ASSERT_EQ(firstRow(place.y), place.row);
    clear(background);
    draw(*picture, place.x, place.y);
    expectPictureAt(texels, w, h, place.x, place.y, background);
  }

  // y = 100 moves the picture exactly 100 rows down.
  clear(background);
  draw(*picture, 0, 0);
  const D3DCOLOR topLeftAtZero = at(1, 0);
  clear(background);
  draw(*picture, 0, 100);
  EXPECT_EQ(at(1, 100), topLeftAtZero);
  EXPECT_EQ(at(1, 100), texels[0] & 0xFFFFFF);
  EXPECT_EQ(at(1, 99), background & 0xFFFFFF);
}

// At (10.5, 20.5) every edge lies on a line of pixel centres: the top-left
// rule takes columns 11..14 and rows 20..21 (left and top edges in, right
// and bottom edges out), exactly w x h pixels. The picture is one colour,
// since its texel boundaries fall on the sample points too.
TEST_F(ImageBlitterGl, HalfPixelPlacementCoversExactlyThePicturesSize) {
  constexpr int w = 4, h = 2;
  const std::vector<D3DCOLOR> texels = solid(w * h, 0xFF40C020);
  auto picture = load("tie.png", makePng(w, h, texels));
  ASSERT_EQ(firstColumn(10.5f), 11);
  ASSERT_EQ(firstRow(20.5f), 20);
  clear(0xFF000000);
  draw(*picture, 10.5f, 20.5f);
  expectPictureAt(texels, w, h, 10.5f, 20.5f, 0xFF000000);
}

TEST_F(ImageBlitterGl, OneBlitterOnTwoLayersInOneFrame) {
  constexpr int w = 4, h = 2;
  const std::vector<D3DCOLOR> texels = distinctTexels(w, h);
  auto picture = load("pair.png", makePng(w, h, texels));
  clear(0xFF000000);
  draw(*picture, 100, 200);
  draw(*picture, 300, 50);  // only the world matrix differs between the draws
  expectFrame([&](int column, int row) -> D3DCOLOR {
    for (const auto& [left, top] : {std::pair{firstColumn(100), firstRow(200)}, {firstColumn(300), firstRow(50)}}) {
      const int u = column - left, v = row - top;
      if (u >= 0 && u < w && v >= 0 && v < h) return texels[std::size_t(v * w + u)];
    }
    return 0;
  });
}

TEST_F(ImageBlitterGl, OpaqueJpegFadesWithTheLayerAlphaTruncatedToAByte) {
  auto white = load("white.jpg", makeJpeg(8, 8, solid(64, 0xFFFFFFFF)));
  ASSERT_EQ(white->format, D3DFMT_X8R8G8B8);
  ASSERT_FALSE(white->hasAlpha);

  clear(0xFF000000);
  draw(*white, 20, 30);
  EXPECT_EQ(shown(*white, 0, 0), 0xFFFFFFu) << "at alpha 1 the picture is drawn as decoded";

  // Alpha 0.5 gives a texture factor alpha of int(0.5 * 255) = 127, so the
  // source weighs 127/255 and the destination 128/255: white over black is
  // 0x7F in every channel (0x80 would mean the alpha was rounded, not
  // truncated).
  clear(0xFF000000);
  draw(*white, 20, 30, 0.5f);
  EXPECT_EQ(shown(*white, 0, 0), 0x7F7F7Fu);
  EXPECT_EQ(shown(*white, 7, 7), 0x7F7F7Fu);
  EXPECT_EQ(shown(*white, -1, 0), 0u);
  EXPECT_EQ(shown(*white, 8, 0), 0u);

  // Over 0x204080: 127 + (0x20, 0x40, 0x80) * 128/255 = 143.06, 159.13, 191.25.
  clear(0xFF204080);
  draw(*white, 20, 30, 0.5f);
  EXPECT_THAT(shown(*white, 3, 3), gltest::NearColor(0x8F9FBFu, 1));
}

TEST_F(ImageBlitterGl, TransparentPngBlendsByItsOwnAlphaUnlessFaded) {
  PngOptions options;
  options.alpha = true;
  auto picture = load("alpha.png", makePng(4, 1, {0x80FF0000, 0x00FF0000, 0xFF00FF00, 0x400000FF}, options));
  ASSERT_EQ(picture->format, D3DFMT_A8R8G8B8);
  ASSERT_TRUE(picture->hasAlpha);

  // Over 0x204080 (32, 64, 128), source weighed by a/255, destination by
  // (255 - a)/255:
  //   0x80FF0000: (255*128 + 32*127, 64*127, 128*127)/255 = 143.9, 31.9, 63.8
  //   0x00FF0000: the destination unchanged
  //   0xFF00FF00: the source
  //   0x400000FF: (32*191, 64*191, 255*64 + 128*191)/255 = 24.0, 47.9, 159.9
  clear(0xFF204080);
  draw(*picture, 50, 60);
  EXPECT_THAT(shown(*picture, 0, 0), gltest::NearColor(0x902040u, 1));
  EXPECT_THAT(shown(*picture, 1, 0), gltest::NearColor(0x204080u, 0));
  EXPECT_THAT(shown(*picture, 2, 0), gltest::NearColor(0x00FF00u, 0));
  EXPECT_THAT(shown(*picture, 3, 0), gltest::NearColor(0x1830A0u, 1));

  // Faded, the layer alpha replaces the texels' own: every texel weighs
  // 127/255 over black, the fully transparent one included.
  clear(0xFF000000);
  draw(*picture, 50, 60, 0.5f);
  EXPECT_EQ(shown(*picture, 0, 0), 0x7F0000u);
  EXPECT_EQ(shown(*picture, 1, 0), 0x7F0000u);
  EXPECT_EQ(shown(*picture, 2, 0), 0x007F00u);
  EXPECT_EQ(shown(*picture, 3, 0), 0x00007Fu);
}

TEST_F(ImageBlitterGl, AdditiveLayersAddTheirWholeColourAndSaturate) {
  auto picture = load("add.png", makePng(4, 1, {0xFF904010, 0xFF000000, 0xFFFFFFFF, 0xFF7F7F7F}));
  picture->additive = true;
  // Over 0x808080: 0x90 + 0x80 saturates, 0x40 + 0x80 = 0xC0, 0x10 + 0x80 = 0x90.
  const D3DCOLOR sums[4] = {0xFFC090, 0x808080, 0xFFFFFF, 0xFFFFFF};
  for (const float alpha : {1.0f, 0.5f}) {
    SCOPED_TRACE(::testing::Message() << "layer alpha " << alpha << " (ONE, ONE ignores it)");
    clear(0xFF808080);
    draw(*picture, 0, 10, alpha);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(shown(*picture, i, 0), sums[i]) << "texel " << i;
    EXPECT_EQ(shown(*picture, -1, 0), 0x808080u);
    EXPECT_EQ(shown(*picture, 4, 0), 0x808080u);
  }

  // Transparent texels add their colour all the same.
  PngOptions options;
  options.alpha = true;
  auto clearRed = load("clear.png", makePng(1, 1, {0x00FF0000}, options));
  clearRed->additive = true;
  clear(0xFF008000);
  draw(*clearRed, 5, 5);
  EXPECT_EQ(shown(*clearRed, 0, 0), 0xFF8000u);

  // A half-transparent colour rectangle, additive, adds its full colour.
  auto red = colour(0x80FF0000);
  red->additive = true;
  clear(0xFF008000);
  draw(*red, 0, 0);
  EXPECT_EQ(at(400, 300), 0xFF8000u);
}

TEST_F(ImageBlitterGl, ColourRectanglesCoverTheScreenAtTheirOpacity) {
  // 0x80 alpha at layer alpha 1: a = 128/255, so red 255 * 128/255 = 128.
  auto halfRed = colour(0x80FF0000);
  clear(0xFF000000);
  draw(*halfRed, 0, 0);
  expectFrame([](int column, int) -> D3DCOLOR { return column == 0 ? 0x000000 : 0x800000; }, 0);

  // Opaque green: drawn without blending over every pixel the quad covers,
  // i.e. all but column 0 (see the top of the file).
  auto green = colour(0xFF00FF00);
  clear(0xFF0000FF);
  draw(*green, 0, 0);
  expectFrame([](int column, int) -> D3DCOLOR { return column == 0 ? 0x0000FF : 0x00FF00; }, 0);

  // Layer alpha 0.25: a = 1 * 0.25 -> byte int(63.75 + 0.5) = 64; over blue,
  // green 255 * 64/255 = 64, blue 255 * 191/255 = 191.
  clear(0xFF0000FF);
  draw(*green, 0, 0, 0.25f);
  EXPECT_EQ(at(1, 0), 0x0040BFu);
  EXPECT_EQ(at(400, 300), 0x0040BFu);
  EXPECT_EQ(at(799, 599), 0x0040BFu);
  EXPECT_EQ(at(0, 300), 0x0000FFu);

  // A rectangle at a layer position moves with it; off-screen parts are cut.
  clear(0xFF000000);
  draw(*green, 700, 500);
  EXPECT_EQ(at(700, 500), 0u);
  EXPECT_EQ(at(701, 499), 0u);
  EXPECT_EQ(at(701, 500), 0x00FF00u);
  EXPECT_EQ(at(799, 599), 0x00FF00u);
}

TEST_F(ImageBlitterGl, LayersStackWithoutLeakingStateIntoEachOther) {
  auto background = colour(0xFF203040);
  auto picture = load("tile.png", makePng(4, 4, solid(16, 0xFFC08000)));
  auto veil = colour(0x80FFFFFF);
  clear(0xFF000000);
  draw(*background, 0, 0);
  draw(*picture, 100, 50);
  draw(*veil, 0, 0);
  // White at 128/255 over c: 128 + c * 127/255. Background (0x20, 0x30,
  // 0x40) -> 143.9, 151.9, 159.9; picture (0xC0, 0x80, 0) -> 223.6, 191.8,
  // 128; column 0, under neither rectangle, stays black.
  const int left = firstColumn(100), top = firstRow(50);
  expectFrame(
      [&](int column, int row) -> D3DCOLOR {
        if (column < firstColumn(0)) return 0x000000;
        if (column >= left && column < left + 4 && row >= top && row < top + 4) return 0xE0C080;
        return 0x9098A0;
      },
      1);

  // The picture once more, over the veil: its texture is bound again.
  draw(*picture, 100, 50);
  EXPECT_EQ(shown(*picture, 0, 0), 0xC08000u);
}

TEST_F(ImageBlitterGl, SequenceShowsEachNewFramesPixels) {
  constexpr int w = 3, h = 2;
  for (int k = 0; k < 3; ++k)
    m_dir.write("frame" + std::to_string(k) + ".png", makePng(w, h, distinctTexels(w, h, k)));
  auto sequence = load("anim.seq", bytesOf("fps = 10\nframe0.png\nframe1.png\nframe2.png\n"));
  const D3DCOLOR background = 0xFF000000;
  // Frames at 0, 100 and 200 ms; the loop is 266.67 ms, so 270 wraps to 3.33.
  const struct {
    float t;
    int frame;
  } steps[] = {{0, 0}, {150, 1}, {250, 2}, {270, 0}, {120, 1}};
  for (const auto& step : steps) {
    SCOPED_TRACE(::testing::Message() << "t = " << step.t);
    clear(background);
    draw(*sequence, 200, 150, 1.0f, step.t);
    ASSERT_EQ(sequence->currentFrame, std::uint32_t(step.frame));
    expectPictureAt(distinctTexels(w, h, step.frame), w, h, 200, 150, background);
  }
}

TEST_F(ImageBlitterGl, GreyPicturesAreOpaqueGrey) {
  PngOptions options;
  options.grey = true;  // the red byte of each colour is the grey level
  auto grey = load("grey.png", makePng(4, 1, {0xFF000000, 0xFF400000, 0xFF800000, 0xFFFF0000}, options));
  ASSERT_EQ(grey->format, D3DFMT_L8);
  EXPECT_TRUE(grey->hasAlpha) << "so it is drawn with blending on";

  // An L8 texture reads alpha 1, so blending by its alpha shows the grey
  // levels unmixed; an alpha of 0 would leave the blue showing.
  clear(0xFF0000FF);
  draw(*grey, 10, 10);
  EXPECT_EQ(shown(*grey, 0, 0), 0x000000u);
  EXPECT_EQ(shown(*grey, 1, 0), 0x404040u);
  EXPECT_EQ(shown(*grey, 2, 0), 0x808080u);
  EXPECT_EQ(shown(*grey, 3, 0), 0xFFFFFFu);
  EXPECT_EQ(shown(*grey, 4, 0), 0x0000FFu);

  // Faded to 0.5: white weighs 127/255 over blue -> (127, 127, 127 + 128).
  clear(0xFF0000FF);
  draw(*grey, 10, 10, 0.5f);
  EXPECT_EQ(shown(*grey, 3, 0), 0x7F7FFFu);
  EXPECT_EQ(shown(*grey, 0, 0), 0x000080u);
}
