#include "scene/Controller.h"
#include "scene/Texture.h"

#include "tests/archive/ArchiveTestUtil.h"
#include "tests/scene/TextureTestSupport.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

class AnimatedTextureTest : public SceneObjectTest {
 protected:
  AnimatedTexture* makeAnimated(const std::string& name = "anim.tga") {
    auto* texture = new AnimatedTexture(scene->AllocateId(), scene);
    texture->name = name;
    return texture;
  }
  // An animated texture whose images are four cached textures f0..f3.
  AnimatedTexture* fourImages() {
    for (int i = 0; i < 4; ++i) frames[i] = cacheTexture("f" + std::to_string(i) + ".jpg");
    AnimatedTexture* texture = makeAnimated();
    texture->loadSequence("images = 4\ni0 = f0.jpg\ni1 = f1.jpg\ni2 = f2.jpg\ni3 = f3.jpg\n", 1.0f, 0.0f);
    return texture;
  }
  IDirect3DTexture9* frames[4] = {};
};

TEST_F(AnimatedTextureTest, ActiveImagePicksAnImageModuloTheCountAndStaysInTheList) {
  AnimatedTexture* texture = fourImages();
  ASSERT_EQ(texture->images.size(), 4u);
  EXPECT_EQ(texture->d3dTexture, frames[0]);

  struct Case {
    float activeImage;
    int index;
  };
  const float huge = 1e30f;
  for (const Case& c : {Case{2.0f, 2}, Case{5.9f, 1}, Case{3.999f, 3}, Case{-0.5f, 0}, Case{-1.0f, 3},
                        Case{-4.5f, 0}, Case{-6.0f, 2}, Case{huge, 2147483647 % 4}, Case{-huge, 0},
                        Case{std::numeric_limits<float>::quiet_NaN(), 0}}) {
    texture->activeImage = c.activeImage;
    texture->update(false);
    EXPECT_EQ(texture->currentImage, c.index) << c.activeImage;
    EXPECT_EQ(texture->d3dTexture, frames[c.index]) << c.activeImage;
  }
}

TEST_F(AnimatedTextureTest, SequenceLoadsItsImagesCompressedInOrderAndAnimatesThem) {
  TempDir dir;
  CurrentDirectory here(dir.path());
  dir.write("a.png", makeSolidTga(4, 4, 0xFF0000FF));
  dir.write("b.png", makeSolidTga(4, 4, 0xFF00FF00));
  dir.write("c.jpg", makeSolidTga(4, 4, 0xFFFF0000));
  AnimatedTexture* texture = makeAnimated("clip.tga");
  // Keys at 0 and 1000 ms, scaled by 2 and shifted by 100: 100 and 2100.
  texture->loadSequence(
      "images = 3\n"
      "i0 = a.png\ni1 = b.png\ni2 = c.jpg\n"
      "animations = 2\n"
      "a0.field = Active Image\na0.keyframes = 2\na0.kf0 = 0 0\na0.kf1 = 1000 3\n"
      "a1.field = Tex U Offset\na1.keyframes = 1\na1.kf0 = 0 0.25\n",
      2.0f, 100.0f);

  const auto& cache = scene->stateCache->textures;
  ASSERT_EQ(texture->images.size(), 3u);
  EXPECT_EQ(texture->images[0], cache.at("a.png"));
  EXPECT_EQ(texture->images[1], cache.at("b.png"));
  EXPECT_EQ(texture->images[2], cache.at("c.jpg"));
  EXPECT_EQ(texture->d3dTexture, texture->images[0]);
  EXPECT_EQ(texture->currentImage, 0);
  EXPECT_FALSE(texture->hasAlpha()) << "the last image loaded decides";
  for (const RecordedCall* call : device->log().named("CreateTexture")) EXPECT_EQ(call->raw(4), D3DFMT_DXT5);
  EXPECT_EQ(texture->config.GetInt("images"), 3);

  ASSERT_EQ(scene->controllers.size(), 2u);
  Controller* image = scene->controllers[0];
  image->update(1100.0f);  // halfway: 1.5
  EXPECT_FLOAT_EQ(texture->activeImage, 1.5f);
  EXPECT_EQ(texture->d3dTexture, texture->images[1]);
  image->update(2100.0f);
  EXPECT_EQ(texture->d3dTexture, texture->images[0]) << "3 modulo 3";
  scene->controllers[1]->update(0.0f);
  EXPECT_FLOAT_EQ(texture->uOffset, 0.25f);
}

TEST_F(AnimatedTextureTest, WithoutUsableImageKeysTheTextureShowsItsOwnFile) {
  IDirect3DTexture9* own = cacheTexture("own.tga");
  IDirect3DTexture9* second = cacheTexture("second.jpg");
  struct Case {
    const char* text;
    std::vector<IDirect3DTexture9*> images;
  };
  for (const Case& c : {Case{"", {own}},
                        Case{"images = 0\ni0 = second.jpg", {own}},
                        Case{"images = -5\ni0 = second.jpg", {own}},
                        Case{"images = 2\ni5 = second.jpg", {own}},
                        Case{"images = 3\ni1 = second.jpg", {second}},
                        // A damaged count must end quickly, not walk two
                        // billion keys.
                        Case{"images = 2147483647\ni0 = second.jpg", {second}}}) {
    AnimatedTexture* texture = makeAnimated("own.tga");
    texture->loadSequence(c.text, 1.0f, 0.0f);
    EXPECT_EQ(texture->images, c.images) << c.text;
    EXPECT_EQ(texture->d3dTexture, c.images[0]) << c.text;
  }
  EXPECT_TRUE(scene->controllers.empty());
  EXPECT_TRUE(recordedBoxes().empty());
}

TEST_F(AnimatedTextureTest, ControlFieldsNameTheOffsetsScalesAndImageOthersGiveNullAfterAMessage) {
  AnimatedTexture* texture = makeAnimated();
  EXPECT_EQ(texture->getControlField("Active Image"), &texture->activeImage);
  EXPECT_EQ(texture->getControlField("Tex U Offset"), &texture->uOffset);
  EXPECT_EQ(texture->getControlField("Tex V Offset"), &texture->vOffset);
  EXPECT_EQ(texture->getControlField("Tex U Scale"), &texture->uScale);
  EXPECT_EQ(texture->getControlField("Tex V Scale"), &texture->vScale);
  EXPECT_TRUE(recordedBoxes().empty());

  EXPECT_EQ(texture->getControlField("active image"), nullptr);
  EXPECT_EQ(texture->getControlField("Size"), nullptr);
  ASSERT_EQ(recordedBoxes().size(), 2u);
  EXPECT_EQ(recordedBoxes()[0].text, "Invalid control field in AnimatedTexture");
  EXPECT_EQ(recordedBoxes()[0].caption, "Error");

  // Named by a sequence file, the unknown field only costs its animation.
  cacheTexture("own.tga");
  AnimatedTexture* animated = makeAnimated("own.tga");
  animated->loadSequence("animations = 1\na0.field = Opacity\na0.keyframes = 1\na0.kf0 = 0 1\n", 1.0f, 0.0f);
  EXPECT_EQ(recordedBoxes().size(), 3u);
  EXPECT_EQ(animated->images.size(), 1u);
  for (Controller* controller : scene->controllers) controller->update(0.0f);
  EXPECT_EQ(animated->activeImage, 0.0f);
}

}  // namespace
