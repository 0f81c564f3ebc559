// vxtool inspect run as the user runs it, on scene files written with the
// project's VXK writer; the JSON is read back by python3's json module.
#include "ArchiveTestUtil.h"
#include "ToolRun.h"
#include "scene/VxkWriter.h"
#include "tests/scene/SceneTestSupport.h"
#include "tools/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace vxk;

namespace {

// Runs a python3 program on a file; its standard output.
std::string python(const TempDir& dir, const std::string& program, const std::string& file) {
  const std::string script = dir.write("check.py", bytesOf(program));
  const std::string command = "python3 '" + script + "' '" + file + "' 2>&1";
  std::string out;
  std::FILE* pipe = ::popen(command.c_str(), "r");
  char buffer[4096];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
  ::pclose(pipe);
  return out;
}

// A scene with one object of every class the loader makes, and a controller
// of every kind it makes.
VxkWriter everyClass() {
  PRS moved;
  moved.position = {0.1f, 2, 3};
  VxkWriter w;
  w.ambient(0xFF336699u);
  w.group(1, NodeRecord{.name = "root", .meshId = 4});
  w.camera(2, CameraRecord{.node = {.parentId = 1, .name = "cam"}, .fov = 1.0f, .nearClip = 0.5f, .farClip = 900.0f,
                           .activationTimes = {0}, .loopLength = 1000, .fogEnabled = true});
  w.light(3, LightRecord{.node = {.parentId = 1, .name = "lamp"}, .range = 50.0f});
  w.vertices(5, VertexRecord{.vertexCount = 3, .frames = {{0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 0, 0, 2, 0, 0, 0, 2, 0}}});
  w.indices(6, {0, 1, 2});
  w.material(7, MaterialRecord{.opacity = 0.5f, .diffuseMap = 8});
  w.texture(8, "stone.tga");
  w.texture(9, "fire.tga");
  w.mesh(4, MeshRecord{.nodeId = 1, .vertexBufferId = 5, .indexBufferId = 6,
                       .submeshes = {{.materialId = 7, .indexCount = 3}}});
  w.group(10, NodeRecord{.parentId = 1, .name = "spark"});
  w.sprite(11, SpriteRecord{.nodeId = 10, .textureId = 9, .size = 2.0f});
  w.group(12, NodeRecord{.parentId = 1, .name = "dust"});
  w.cloud(13, CloudRecord{.nodeId = 12, .extent = {2, 2, 2}, .count = 4, .textureId = 8});
  w.group(14, NodeRecord{.parentId = 1, .name = "sky", .configText = "skybox = 1"});
  w.group(15, NodeRecord{.parentId = 1, .name = "holder", .configText = "loader = 1\nfilename = child.vxk"});
  w.prsAnimation(PRSAnimationRecord{.targetId = 10, .componentFlags = kKeyPosition, .times = {0, 1000},
                                    .values = {PRS{}, moved}});
  w.floatAnimation(FloatAnimationRecord{.targetId = 7, .fieldName = "OPACITY", .times = {0, 1000}, .values = {0, 1}});
  w.vertexAnimation(VertexAnimationRecord{.targetId = 5, .loopLength = 1000, .startTime = 0, .endTime = 1000});
  return w;
}

class InspectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("stone.tga", solidTga(2, 2, D3DCOLOR_ARGB(255, 10, 20, 30), 24));
    dir.write("fire.tga", solidTga(2, 2, D3DCOLOR_ARGB(255, 200, 100, 0), 24));
    dir.write("fire.seq", bytesOf("images = 1\ni0 = fire.tga\n"));
    VxkWriter child;
    child.group(1, NodeRecord{.name = "inner"});
    dir.write("child.vxk", child.bytes());
    dir.write("scene.vxk", everyClass().bytes());
  }
  TempDir dir;
};

}  // namespace

TEST_F(InspectTest, JsonDescribesEveryObjectAndController) {
  ToolRun run = vxtool(dir, "inspect scene.vxk --json --time 500");
  ASSERT_EQ(run.code, 0) << run.err;
  const std::string json = dir.write("out.json", bytesOf(run.out));
  const std::string facts = python(dir, R"(
import json, sys
d = json.load(open(sys.argv[1]))
print(sorted(d.keys()))
print(d['root'], d['skybox'], d['activeCamera'], d['ambient'][3])
print(' '.join(o['class'] for o in d['objects']))
print([o['id'] for o in d['objects']])
by = {o['id']: o for o in d['objects']}
root = by[d['root']]
print(root['name'], root['children'], len(root['prs']), len(root['world']), root['mesh'])
cam = by[d['activeCamera']]
print(cam['name'], cam['fov'], cam['nearClip'], cam['farClip'], cam['fogEnabled'], cam['active'], cam['parent'])
mesh = by[root['mesh']]
sub = by[mesh['submeshes'][0]]
print(by[mesh['vertexBuffer']]['class'], by[mesh['vertexBuffer']]['frameCount'], by[mesh['indexBuffer']]['triangleCount'], sub['indexCount'], by[sub['material']]['class'])
spark = [o for o in d['objects'] if o.get('name') == 'spark'][0]
print(spark['prs'][0], by[spark['sprite']]['class'], by[by[spark['sprite']]['texture']]['class'])
print(' '.join(c['class'] + ':' + str(c['looping']) for c in d['controllers']))
print(by[d['controllers'][0]['target']]['class'], d['controllers'][2]['keys'])
)",
                                   json);
  EXPECT_EQ(facts,
            "['activeCamera', 'ambient', 'controllers', 'objects', 'root', 'skybox']\n"
            "1 15 3 1\n"
            "VXKSceneLoader Group Camera Light MultiVertexBuffer IndexBuffer Material Texture AnimatedTexture Mesh "
            "SubMesh Group Sprite Group SpriteCloud Group Group VXKSceneLoader Group DefaultProcessor GlowProcessor\n"
            "[0, 1, 3, 4, 5, 6, 7, 8, 9, 2, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20]\n"
            "root [3, 4, 11, 13, 16] 10 16 2\n"
            "cam 1 0.5 900 True True 1\n"
            "MultiVertexBuffer 2 1 3 Material\n"
            "0.0500000007 Sprite AnimatedTexture\n"
            "CameraActivatorController:True KeyframePRSController:True KeyframeFloatController:True "
            "VertexController:True\n"
            "Camera [[0, 0], [1000, 1]]\n")
      << run.out;
}

TEST_F(InspectTest, TreeFromAnArchive) {
  ArchiveWriter writer;
  const Bytes scene = everyClass().bytes();
  ASSERT_TRUE(writer.add("packed.vxk", scene.data(), scene.size(), 1));
  Bytes image;
  ASSERT_TRUE(writer.finish(&image));
  dir.write("show.cfl", image);
  ToolRun run = vxtool(dir, "inspect packed.vxk --archive show.cfl");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("active camera \"cam\" #3"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("  Group \"root\" #1  at (0, 0, 0)  mesh #2 (1 submeshes, 3 vertices, 1 triangles)"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("skybox:\n  Group \"sky\" #15"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("      Group \"inner\" #18"), std::string::npos) << run.out;
}

TEST_F(InspectTest, PlayerErrorsBecomeToolErrors) {
  ToolRun missing = vxtool(dir, "inspect nope.vxk");
  EXPECT_EQ(missing.code, 1);
  EXPECT_EQ(missing.err, "vxtool: Error: Couldn't open file: nope.vxk\n") << "the error once, as the tool's line";

  VxkWriter bad;
  bad.group(1, NodeRecord{}).rawChunk(kChunkLight, 3, 2, {1, 2, 3});
  dir.write("bad.vxk", bad.bytes());
  ToolRun damaged = vxtool(dir, "inspect bad.vxk --json");
  EXPECT_EQ(damaged.code, 1);
  EXPECT_EQ(damaged.out, "");
  EXPECT_EQ(damaged.err, "vxtool: Error: Damaged chunk in file bad.vxk!\n");

  std::remove(dir.file("stone.tga").c_str());
  ToolRun texture = vxtool(dir, "inspect scene.vxk");
  EXPECT_EQ(texture.code, 1);
  EXPECT_EQ(texture.err, "vxtool: Error: Texture load failed: stone.tga\n");

  EXPECT_EQ(vxtool(dir, "inspect").code, 1);
  EXPECT_EQ(vxtool(dir, "inspect scene.vxk --time soon").code, 1);
  EXPECT_EQ(vxtool(dir, "inspect scene.vxk --archive none.cfl").code, 1);
}
