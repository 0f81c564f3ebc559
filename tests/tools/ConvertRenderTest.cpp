// Converted models drawn by the scene's own processors on the OpenGL device
// off screen: the converted camera sees the converted box, and a box turned
// about its up axis shows the face the model's turn brings to the front.
#include "ArchiveTestUtil.h"
#include "ConvertTestSupport.h"
#include "GlTestDevice.h"
#include "render/StateCache.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"

#include <filesystem>

namespace {

// Colour of each face material: the front (+z, toward the camera) and the
// rest red, the -x face green, the +x face blue.
const char* kMaterials =
    "\"materials\":[{\"pbrMetallicRoughness\":{\"baseColorFactor\":[1,0,0,1],\"metallicFactor\":0}},"
    "{\"pbrMetallicRoughness\":{\"baseColorFactor\":[0,1,0,1],\"metallicFactor\":0}},"
    "{\"pbrMetallicRoughness\":{\"baseColorFactor\":[0,0,1,1],\"metallicFactor\":0}}]";

// The box turned by `turn` (glTF axes), a camera at z = 6 looking at it and
// a white light beside the camera.
std::string boxInFrontOfCamera(const std::vector<float>& turn) {
  GltfBuilder gltf;
  const std::string meshes = gltfBox(gltf, {2, 1, 0, 0, 0, 0});
  return gltf.json({"\"scenes\":[{\"nodes\":[0,1,2]}]",
                    "\"nodes\":[{\"name\":\"Box\",\"mesh\":0,\"rotation\":" + GltfBuilder::list(turn) +
                        "},{\"name\":\"Cam\",\"camera\":0,\"translation\":[0,0,6]},"
                        "{\"name\":\"Lamp\",\"translation\":[0,0,6],\"extensions\":{\"KHR_lights_punctual\":"
                        "{\"light\":0}}}]",
                    meshes, kMaterials,
                    "\"cameras\":[{\"type\":\"perspective\",\"perspective\":{\"yfov\":0.6,\"aspectRatio\":"
                    "1.3333334,\"znear\":0.5,\"zfar\":50}}]",
                    "\"extensionsUsed\":[\"KHR_lights_punctual\"]",
                    "\"extensions\":{\"KHR_lights_punctual\":{\"lights\":[{\"type\":\"point\",\"intensity\":1}]}}"});
}

class ConvertRenderTest : public gltest::GlDeviceTest {
 protected:
  void SetUp() override { open(gltest::DeviceOptions{.width = 64, .height = 48}); }

  // Converts the model, loads it with the player's loader on the OpenGL
  // device, draws one frame over black; the frame's pixels.
  std::vector<D3DCOLOR> convertAndDraw(const std::string& gltf) {
    dir.write("model.gltf", bytesOf(gltf));
    ToolRun run = vxtool(dir, "convert model.gltf out");
    EXPECT_EQ(run.code, 0) << run.err;
    CurrentDirectory inOut(dir.file("out"));
    SceneGraph scene(m_device);
    auto* loader = new VXKSceneLoader(scene.AllocateId(), &scene);  // owned by the scene
    loader->LoadScene("model.vxk");
    scene.Prepare();
    scene.SetTime(0.0f);
    clear(D3DCOLOR_XRGB(0, 0, 0));
    scene.Render();
    return frame();
  }
  D3DCOLOR centre(const std::vector<D3DCOLOR>& pixels) const { return pixels[(m_height / 2) * m_width + m_width / 2]; }

  TempDir dir;
};

// Which of the three colours a pixel mostly is: one channel above half,
// the others below a quarter.
::testing::AssertionResult mostly(D3DCOLOR pixel, int channel) {
  const int c[3] = {int((pixel >> 16) & 0xFF), int((pixel >> 8) & 0xFF), int(pixel & 0xFF)};
  for (int i = 0; i < 3; ++i) {
    const bool ok = i == channel ? c[i] > 128 : c[i] < 64;
    if (!ok)
      return ::testing::AssertionFailure() << "pixel (" << c[0] << ", " << c[1] << ", " << c[2] << ") is not mostly "
                                           << "rgb"[channel];
  }
  return ::testing::AssertionSuccess();
}

}  // namespace

TEST_F(ConvertRenderTest, TheConvertedCameraShowsTheRedBoxAtTheScreenCentre) {
  const std::vector<D3DCOLOR> pixels = convertAndDraw(boxInFrontOfCamera({0, 0, 0, 1}));
  EXPECT_TRUE(mostly(centre(pixels), 0));
  // The box (half-size 1 at distance 5 with 0.6 rad vertically) covers the
  // middle third of the picture's height and no corner.
  EXPECT_EQ(pixels[0] & 0xFFFFFF, 0u) << "the top left corner shows the box";
  EXPECT_EQ(pixels[pixels.size() - 1] & 0xFFFFFF, 0u) << "the bottom right corner shows the box";
}

TEST_F(ConvertRenderTest, ABoxTurnedAboutItsUpAxisShowsTheFaceTheTurnBringsToTheFront) {
  // +90 degrees about glTF y (counter-clockwise seen from above) brings the
  // -x face (green) to the front; -90 degrees the +x face (blue).
  const float h = std::sqrt(0.5f);
  EXPECT_TRUE(mostly(centre(convertAndDraw(boxInFrontOfCamera({0, h, 0, h}))), 1));
  std::filesystem::remove_all(dir.file("out"));
  EXPECT_TRUE(mostly(centre(convertAndDraw(boxInFrontOfCamera({0, -h, 0, h}))), 2));
}
