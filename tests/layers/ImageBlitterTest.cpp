// Image layers on the recording device: what each kind of picture asks of
// the device, where it is placed, how sequences advance, and how bad files
// end the show.
#include "layers/ImageBlitter.h"

#include "ArchiveTestUtil.h"
#include "TestImages.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"

#include <gtest/gtest.h>

#include <cstring>

#include <memory>

namespace {

class ImageBlitterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetMessageBoxHook([](const char*, const char*, UINT) { return IDOK; });
    device = RecordingDevice::createOffscreen();
    device->BeginScene();  // draws are only valid inside a scene
  }
  void TearDown() override {
    if (device) device->Release();
    SetMessageBoxHook(nullptr);
  }

  std::unique_ptr<ImageBlitter> load(const std::string& name) {
    return std::make_unique<ImageBlitter>(device, name.c_str(), 800, 600, false, 0xFFFFFFFFu);
  }
  std::unique_ptr<ImageBlitter> colour(D3DCOLOR argb) {
    return std::make_unique<ImageBlitter>(device, "", 800, 600, true, argb);
  }
  // The value of the last SetRenderState / SetTextureStageState call for a state since `from`.
  std::string lastState(const std::string& name, std::size_t from, const std::string& stage = "") {
    std::string value;
    for (std::size_t i = from; i < device->log().size(); ++i) {
      const RecordedCall& c = device->log()[i];
      if (c.name == "SetRenderState" && c.arg(0) == name) value = c.arg(1);
      if (c.name == "SetTextureStageState" && c.arg(0) == stage && c.arg(1) == name) value = c.arg(2);
    }
    return value;
  }

  TempDir dir;
  CurrentDirectory inDir{dir.path()};
  RecordingDevice* device = nullptr;
};

using ImageBlitterDeathTest = ImageBlitterTest;

std::vector<D3DCOLOR> solid(int count, D3DCOLOR c) { return std::vector<D3DCOLOR>(std::size_t(count), c); }

}  // namespace

TEST_F(ImageBlitterTest, OpaqueJpegDrawsWithoutBlendingAndFadedWithTheLayerAlpha) {
  dir.write("pic.jpg", makeJpeg(4, 2, solid(8, 0xFF336699)));
  auto pic = load("pic.jpg");
  EXPECT_FALSE(pic->hasAlpha);
  EXPECT_EQ(pic->format, D3DFMT_X8R8G8B8);
  pic->additive = false;
  std::size_t mark = device->log().mark();
  pic->Draw(0);
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "0");
  EXPECT_EQ(lastState("D3DTSS_ALPHAOP", mark, "0"), "D3DTOP_SELECTARG1");
  EXPECT_EQ(device->log().count("DrawPrimitiveUP", mark), 1u);

  pic->alpha = 0.5f;
  mark = device->log().mark();
  pic->Draw(0);
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "1");
  EXPECT_EQ(lastState("D3DTSS_ALPHAOP", mark, "0"), "D3DTOP_MODULATE");
  EXPECT_EQ(lastState("D3DTSS_ALPHAARG1", mark, "0"), "D3DTA_TFACTOR");
  EXPECT_EQ(lastState("D3DTSS_ALPHAARG2", mark, "0"), "D3DTA_DIFFUSE") << "defined, not inherited";
  EXPECT_EQ(lastState("D3DRS_TEXTUREFACTOR", mark), "0x7F000000");
  EXPECT_EQ(lastState("D3DRS_SRCBLEND", mark), "D3DBLEND_SRCALPHA");
  EXPECT_EQ(lastState("D3DRS_DESTBLEND", mark), "D3DBLEND_INVSRCALPHA");
}

TEST_F(ImageBlitterTest, TransparentPngAlwaysBlendsAndAdditiveAddsOneToOne) {
  PngOptions options;
  options.alpha = true;
  dir.write("alpha.png", makePng(2, 2, solid(4, 0x80FFFFFF), options));
  auto pic = load("alpha.png");
  EXPECT_TRUE(pic->hasAlpha);
  pic->additive = false;
  std::size_t mark = device->log().mark();
  pic->Draw(0);
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "1");
  pic->additive = true;
  mark = device->log().mark();
  pic->Draw(0);
  EXPECT_EQ(lastState("D3DRS_SRCBLEND", mark), "D3DBLEND_ONE");
  EXPECT_EQ(lastState("D3DRS_DESTBLEND", mark), "D3DBLEND_ONE");
}

TEST_F(ImageBlitterTest, ColourRectanglesTakeTheirOpacityFromColourAndLayer) {
  auto red = colour(0x80FF0000);
  red->additive = false;
  std::size_t mark = device->log().mark();
  red->Draw(0);
  EXPECT_EQ(lastState("D3DRS_TEXTUREFACTOR", mark), "0x80FF0000");
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "1");
  EXPECT_NE(device->log().find("SetTexture(0, NULL)", mark), std::nullopt);

  auto green = colour(0xFF00FF00);
  green->additive = false;
  mark = device->log().mark();
  green->Draw(0);
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "0");
  green->alpha = 0.25f;
  mark = device->log().mark();
  green->Draw(0);
  EXPECT_EQ(lastState("D3DRS_TEXTUREFACTOR", mark), "0x4000FF00");
  EXPECT_EQ(lastState("D3DRS_ALPHABLENDENABLE", mark), "1");
}

TEST_F(ImageBlitterTest, PlacementAndStateRestoration) {
  dir.write("pic.png", makePng(16, 8, solid(128, 0xFF102030)));
  auto pic = load("pic.png");
  D3DMATRIX view{};
  view._11 = view._22 = view._33 = 2;
  view._44 = 1;
  device->SetTransform(D3DTS_VIEW, &view);
  pic->x = 0;
  pic->y = 100;
  pic->Draw(0);
  D3DMATRIX world, restored;
  device->GetTransform(D3DTS_WORLD, &world);
  EXPECT_EQ(world._41, 0.5f);
  EXPECT_EQ(world._42, 600.0f - 8.0f - 100.0f + 0.5f) << "y counts down from the top";
  device->GetTransform(D3DTS_VIEW, &restored);
  EXPECT_EQ(restored._11, 2.0f);
  const RecordedCall* draw = device->log().last("DrawPrimitiveUP");
  ASSERT_NE(draw, nullptr);
  ASSERT_EQ(draw->data.size(), 4u * 20u);
  float v[20];
  std::memcpy(v, draw->data.data(), sizeof v);
  EXPECT_EQ(v[5 + 1], 8.0f) << "second vertex: top-left corner, height in pixels";
  EXPECT_EQ(v[5 + 4], 0.0f) << "v = 0 at the top";
  EXPECT_EQ(v[10 + 0], 16.0f);
  DWORD z = 0;
  device->GetRenderState(D3DRS_ZENABLE, &z);
  EXPECT_EQ(z, 1u) << "depth test back on after the draw";
}

TEST(ImageSequence, ParsesBothForms) {
  auto fps = ParseImageSequence("# frames\nfps = 10\r\na.png\n\n  b.png  \nc.png\n");
  ASSERT_EQ(fps.size(), 3u);
  EXPECT_EQ(fps[1].file, "b.png");
  EXPECT_FLOAT_EQ(fps[2].time, 200.0f);
  auto timed = ParseImageSequence("0 one.png\n500\ttwo.png extra\n");
  ASSERT_EQ(timed.size(), 2u);
  EXPECT_EQ(timed[1].time, 500.0f);
  EXPECT_EQ(timed[1].file, "two.png");
  EXPECT_TRUE(ParseImageSequence("# nothing\n\n").empty());
  EXPECT_EQ(ParseImageSequence("FPS=4\nx\n").at(0).file, "x");
}

TEST_F(ImageBlitterTest, SequenceAdvancesOneFramePerDrawAndLoops) {
  for (int i = 0; i < 3; ++i) dir.write("f" + std::to_string(i) + ".png", makePng(2, 2, solid(4, 0xFF000000u + i)));
  dir.write("anim.seq", bytesOf("fps = 10\nf0.png\nf1.png\nf2.png\n"));
  auto seq = load("anim.seq");
  ASSERT_EQ(seq->frames.size(), 3u);
  EXPECT_NEAR(seq->loopLength, 266.67f, 0.01f);
  seq->Draw(0);
  EXPECT_EQ(seq->currentFrame, 0u);
  seq->Draw(250);
  EXPECT_EQ(seq->currentFrame, 1u) << "at most one frame per draw";
  seq->Draw(250);
  EXPECT_EQ(seq->currentFrame, 2u);
  seq->Draw(270);
  EXPECT_EQ(seq->currentFrame, 0u) << "270 wraps to 3.33";

  dir.write("timed.SEQ", bytesOf("0 f0.png\n500 f1.png\n"));
  EXPECT_FLOAT_EQ(load("timed.SEQ")->loopLength, 750.0f);
  dir.write("still.seq", bytesOf("0 f0.png\n"));
  auto still = load("still.seq");
  still->Draw(1.0e9f);  // a zero-length loop must not spin
  EXPECT_EQ(still->currentFrame, 0u);
}

TEST_F(ImageBlitterTest, ReleasesEverythingItCreated) {
  for (int i = 0; i < 2; ++i) dir.write("f" + std::to_string(i) + ".png", makePng(2, 2, solid(4, 0xFF000000u + i)));
  dir.write("anim.seq", bytesOf("0 f0.png\n40 f1.png\n"));
  const int before = device->liveResourceCount();
  load("anim.seq").reset();
  colour(0xFF000000).reset();
  EXPECT_EQ(device->liveResourceCount(), before);
}

TEST_F(ImageBlitterDeathTest, BadPicturesEndTheShow) {
  EXPECT_EXIT(load("missing.png"), ::testing::ExitedWithCode(0), "Error: Image load failed: missing.png");
  dir.write("bgr.bmp", makeBmp(2, 2, solid(4, 0xFF112233), 24));
  EXPECT_EXIT(load("bgr.bmp"), ::testing::ExitedWithCode(0), "Error: Unknown texture format");
  dir.write("broken.png", bytesOf("\x89PNG\r\n\x1a\n not really"));
  EXPECT_EXIT(load("broken.png"), ::testing::ExitedWithCode(0), "Image load failed: broken.png");
  dir.write("empty.seq", bytesOf("# no frames\n"));
  EXPECT_EXIT(load("empty.seq"), ::testing::ExitedWithCode(0), "Image load failed: empty.seq");
  dir.write("a.png", makePng(2, 2, solid(4, 0xFF000000)));
  dir.write("b.png", makePng(4, 2, solid(8, 0xFF000000)));
  dir.write("mixed.seq", bytesOf("0 a.png\n10 b.png\n"));
  EXPECT_EXIT(load("mixed.seq"), ::testing::ExitedWithCode(0), "Image load failed: b.png");
}

// A harness whose exit hook unwinds instead of ending the process (the
// fuzzers) must get back everything a refused load made on the device.
TEST_F(ImageBlitterTest, RefusedLoadsReleaseWhatTheyMadeWhenTheExitUnwinds) {
  struct Refused {};
  SetExitProcessHook([](UINT) { throw Refused{}; });
  struct RestoreHook {
    ~RestoreHook() { SetExitProcessHook(nullptr); }
  } restore;
  dir.write("a.png", makePng(2, 2, solid(4, 0xFF000000)));
  dir.write("b.png", makePng(4, 2, solid(8, 0xFF000000)));
  dir.write("bgr.bmp", makeBmp(2, 2, solid(4, 0xFF112233), 24));
  dir.write("mixed.seq", bytesOf("0 a.png\n10 a.png\n20 b.png\n"));
  dir.write("gap.seq", bytesOf("0 a.png\n10 a.png\n20 missing.png\n"));
  dir.write("bgr.seq", bytesOf("0 bgr.bmp\n10 bgr.bmp\n"));
  const int before = device->liveResourceCount();
  for (const char* name : {"mixed.seq", "gap.seq", "bgr.seq", "bgr.bmp"}) {
    EXPECT_THROW(load(name), Refused) << name;
    EXPECT_EQ(device->liveResourceCount(), before) << name;
  }
}
