// Scene files written with VxkWriter and read back by the loader: every
// chunk type and version, ids, nested files, sequence files, both key layouts.
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/CameraActivatorController.h"
#include "scene/KeyframeFloatController.h"
#include "scene/KeyframePRSController.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"
#include "scene/VertexController.h"
#include "tests/scene/SceneTestSupport.h"

#include <bit>
#include <cmath>
#include <fstream>

#include <sys/stat.h>

using namespace vxk;

namespace {

PRS makePRS(float base) {
  PRS prs;
  prs.position = {base, base + 1, base + 2};
  prs.rotation = {0.0f, 0.0f, 0.70710677f, 0.70710677f};
  prs.scale = {2.0f, 3.0f, 4.0f};
  return prs;
}

std::vector<float> keyTimes(const Controller* c) {
  std::vector<float> times;
  if (auto* f = dynamic_cast<const KeyframeFloatController*>(c))
    for (const KeyFloat& k : f->keys) times.push_back(k.time);
  if (auto* p = dynamic_cast<const KeyframePRSController*>(c))
    for (const KeyPRS& k : p->keys) times.push_back(k.time);
  return times;
}
std::vector<float> keyValues(const Controller* c) {
  std::vector<float> values;
  for (const KeyFloat& k : dynamic_cast<const KeyframeFloatController&>(*c).keys) values.push_back(k.value);
  return values;
}
// Colour channels r, g, b, a as the loader stores them, from file ARGB.
std::vector<float> channels(std::uint32_t argb) {
  return {float(argb >> 16 & 0xFF) * kColorScale, float(argb >> 8 & 0xFF) * kColorScale, float(argb & 0xFF) * kColorScale,
          float(argb >> 24) * kColorScale};
}
std::vector<float> channels(const float* rgba) { return {rgba[0], rgba[1], rgba[2], rgba[3]}; }

using SceneLoaderTest = LoaderTest;

}  // namespace

TEST_F(SceneLoaderTest, NodeRecordFieldsFollowTheVersionTable) {
  struct Case {
    std::uint16_t type, version;
    bool visibility, mesh;
  };
  const Case cases[] = {
      {kChunkGroup, 1, false, false},  {kChunkGroup, 2, true, false},   {kChunkGroup, 3, true, true},
      {kChunkCamera, 1, false, false}, {kChunkCamera, 2, false, false}, {kChunkCamera, 3, true, false},
      {kChunkCamera, 4, true, false},  {kChunkCamera, 5, true, true},   {kChunkLight, 1, false, false},
      {kChunkLight, 2, true, false},   {kChunkLight, 3, true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " version " << c.version);
    const NodeRecord node{.name = "n", .prs = makePRS(1), .configText = "colour = red", .flag1 = true,
                          .visibility = 0.5f, .meshId = 40};
    VxkWriter w;
    if (c.type == kChunkGroup) w.group(1, node, c.version);
    if (c.type == kChunkCamera) w.camera(1, CameraRecord{.node = node, .fov = 1.25f}, c.version);
    if (c.type == kChunkLight) w.light(1, LightRecord{.node = node, .range = 77.0f}, c.version);
    load(w);
    auto* group = object<Group>(1);
    ASSERT_NE(group, nullptr);
    EXPECT_TRUE(scene->loaded);
    EXPECT_EQ(scene->root, group);
    EXPECT_EQ(group->name, "n");
    EXPECT_TRUE(group->prs.position == node.prs.position && group->prs.rotation == node.prs.rotation &&
                group->prs.scale == node.prs.scale);
    EXPECT_EQ(group->visibility, c.visibility ? 0.5f : 1.0f);
    EXPECT_EQ(group->meshRef.id, c.mesh ? 2 : -1);  // file id 40 gets the next scene id
    EXPECT_EQ(group->parentRef.id, -1);
    EXPECT_TRUE(group->flag1);
    EXPECT_FALSE(group->flag2);
    EXPECT_STREQ(group->config.GetString("colour"), "red");
    // The record's end is where the type's own fields start.
    if (c.type == kChunkCamera) {
      EXPECT_EQ(dynamic_cast<Camera*>(group)->fov, 1.25f);
    } else if (c.type == kChunkLight) {
      EXPECT_EQ(dynamic_cast<Light*>(group)->d3dLight.Range, 77.0f);
    }
  }
}

TEST_F(SceneLoaderTest, ParentsRootsSkyboxAndVisibilityClamp) {
  VxkWriter w;
  w.group(10, NodeRecord{.name = "first", .visibility = 7.0f});
  w.group(11, NodeRecord{.parentId = 12, .name = "child", .visibility = -3.0f});  // parent read later
  w.group(12, NodeRecord{.name = "second"});
  w.group(13, NodeRecord{.parentId = 12, .name = "sky", .configText = "skybox = 1"});
  load(w);
  auto* first = object<Group>(1);
  auto* child = object<Group>(2);
  auto* second = object<Group>(3);
  auto* sky = object<Group>(4);
  ASSERT_TRUE(first && child && second && sky);
  EXPECT_EQ(scene->root, second);  // the last parentless node of a top-level file
  EXPECT_EQ(first->visibility, 1.0f);
  EXPECT_EQ(child->visibility, 0.0f);
  EXPECT_EQ(child->parentRef.id, 3);
  EXPECT_EQ(scene->skybox, sky);  // taken out of the tree
  EXPECT_EQ(sky->parentRef.id, -1);
  scene->Prepare();
  EXPECT_EQ(second->children, std::vector<Group*>{child});
}

TEST_F(SceneLoaderTest, SceneIdsFollowTheReadingOrder) {
  VxkWriter child;
  child.group(1, NodeRecord{.name = "inner"});
  writeFile("child.vxk", child);
  VxkWriter w;
  w.group(100, NodeRecord{.parentId = 200, .name = "a", .meshId = 300});  // 100 -> 1, 200 -> 2, 300 -> 3
  w.group(200, NodeRecord{.name = "b", .configText = "loader = 1\nfilename = child.vxk"});  // loader 4, inner 5
  w.mesh(300, MeshRecord{.nodeId = 100, .vertexBufferId = 400, .indexBufferId = 500,
                         .submeshes = {{.materialId = 600, .indexCount = 3}, {.materialId = 600, .indexCount = 3}}});
  w.vertices(400, VertexRecord{.vertexCount = 0, .frames = {{}}});
  load(w);
  // Mesh 3; vertex buffer 6, index buffer 7 (mentioned); submesh 8 and its
  // material 9; second submesh 10.
  EXPECT_NE(object<VXKSceneLoader>(0), nullptr);
  EXPECT_EQ(object<Group>(1)->name, "a");
  EXPECT_EQ(object<Group>(2)->name, "b");
  EXPECT_NE(object<VXKSceneLoader>(4), nullptr);
  EXPECT_EQ(object<Group>(5)->name, "inner");
  auto* mesh = object<Mesh>(3);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->vertexBufferRef.id, 6);
  EXPECT_EQ(mesh->indexBufferRef.id, 7);
  ASSERT_EQ(mesh->submeshes.size(), 2u);
  EXPECT_EQ(mesh->submeshes[0]->id, 8u);
  EXPECT_EQ(mesh->submeshes[0]->materialRef.id, 9);
  EXPECT_EQ(mesh->submeshes[1]->id, 10u);
  EXPECT_EQ(mesh->submeshes[1]->materialRef.id, 9);
  EXPECT_NE(object<VertexBuffer>(6), nullptr);
  EXPECT_EQ(scene->nextId, 11u);
}

TEST_F(SceneLoaderTest, NestedFileHangsBelowItsNodeWithShiftedTimes) {
  VxkWriter child;
  child.group(1, NodeRecord{.name = "top1"});
  child.group(2, NodeRecord{.name = "top2"});
  child.floatAnimation(FloatAnimationRecord{.targetId = 1, .fieldName = "VISTRACK", .times = {0, 10}, .values = {0, 1}});
  writeFile("child.vxk", child);
  VxkWriter w;
  w.group(1, NodeRecord{.name = "holder", .configText = "loader = 1\nfilename = child.vxk\nanimoffset = 1000"});
  w.floatAnimation(FloatAnimationRecord{.targetId = 1, .fieldName = "VISTRACK", .times = {5}, .values = {1}});
  loadFile(w, 500.0f, 2.0f, true);  // the outer file itself shifted and scaled
  auto* holder = object<Group>(1);
  auto* top1 = object<Group>(3);
  auto* top2 = object<Group>(4);
  ASSERT_TRUE(holder && top1 && top2);
  EXPECT_EQ(scene->root, holder);
  auto* nested = object<VXKSceneLoader>(2);
  ASSERT_NE(nested, nullptr);
  // No "animscale": the outer scale; no "looping": nested animations do not loop.
  EXPECT_TRUE(nested->animOffset == 1500.0f && nested->animScale == 2.0f && !nested->looping);
  EXPECT_EQ(nested->fileName, "child.vxk");
  ASSERT_EQ(scene->controllers.size(), 2u);  // the nested file's first, then the outer one
  EXPECT_EQ(keyTimes(scene->controllers[0]), (std::vector<float>{1500, 1520}));
  EXPECT_FALSE(dynamic_cast<KeyframeFloatController*>(scene->controllers[0])->looping);
  EXPECT_EQ(keyTimes(scene->controllers[1]), (std::vector<float>{510}));
  EXPECT_TRUE(dynamic_cast<KeyframeFloatController*>(scene->controllers[1])->looping);
  scene->Prepare();
  EXPECT_EQ(holder->children, (std::vector<Group*>{top1, top2}));

  // Its own scale and looping keys.
  w = VxkWriter{};
  w.group(1, NodeRecord{.configText = "loader = yes\nfilename = child.vxk\nanimscale = 0.5\nlooping = 1"});
  load(w);
  ASSERT_EQ(scene->controllers.size(), 1u);
  EXPECT_EQ(keyTimes(scene->controllers[0]), (std::vector<float>{0, 5}));
  EXPECT_TRUE(dynamic_cast<KeyframeFloatController*>(scene->controllers[0])->looping);
}

TEST_F(SceneLoaderTest, CameraFieldsActivationAndFog) {
  VxkWriter w;
  w.camera(1, CameraRecord{.node = {.name = "cam"}, .fov = 0.9f, .nearClip = 0.0f, .farClip = 5000.0f,
                           .activationTimes = {3000, 1000}, .unusedTime = 7, .loopLength = 4000, .fogEnabled = true,
                           .fogColor = 0x80FF0000u},
           4);
  w.camera(2, CameraRecord{.node = {.name = "old"}, .nearClip = 2.0f, .activationTimes = {5}}, 3);
  w.camera(3, CameraRecord{.node = {.name = "none"}, .activationTimes = {1}}, 1);  // version 1: no times
  w.camera(4, CameraRecord{.node = {.name = "empty"}}, 5);                          // no times: no controller
  loadFile(w, 100.0f, 2.0f, false);
  auto* camera = object<Camera>(1);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(camera->fov, 0.9f);
  EXPECT_EQ(camera->nearClip, 5000.0f * 1e-5f);  // a zero near plane becomes far × 1e-5
  EXPECT_EQ(camera->farClip, 5000.0f);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(camera->aspect), 0x3FAAAAABu);
  EXPECT_TRUE(camera->fogEnabled);
  EXPECT_EQ(channels(camera->fogColor), channels(0x80FF0000u));

  ASSERT_EQ(scene->controllers.size(), 2u);  // cameras 1 and 2
  auto* activator = dynamic_cast<CameraActivatorController*>(scene->controllers[0]);
  ASSERT_NE(activator, nullptr);
  EXPECT_EQ(activator->camera, camera);
  EXPECT_EQ(activator->times, (std::vector<std::uint32_t>{1000, 3000}));  // sorted, neither scaled nor shifted
  EXPECT_EQ(activator->nextTime, 1000u);
  EXPECT_EQ(activator->loopLength, 8100u);  // 4000 × 2 + 100
  EXPECT_FALSE(activator->looping);
  auto* old = object<Camera>(2);
  ASSERT_NE(old, nullptr);
  EXPECT_EQ(old->nearClip, 2.0f);
  EXPECT_FALSE(old->fogEnabled);  // version 3: no fog fields
  EXPECT_EQ(old->fogColor[3], 1.0f);
}

TEST_F(SceneLoaderTest, LightFieldsAndTheShadowFlag) {
  LightRecord record{.node = {.name = "sun"}, .type = 3, .color = 0xFF336699u, .intensity = 2.5f,
                     .attenuation = {1, 2, 3}, .range = 150.0f, .hotspot = 20.0f, .falloffAngle = 35.0f,
                     .shadowFlag = false, .shadowColor = 0x40102030u};
  for (bool shadow : {false, true}) {
    record.shadowFlag = shadow;
    VxkWriter w;
    w.light(1, record);
    load(w);
    auto* light = object<Light>(1);
    ASSERT_NE(light, nullptr);
    EXPECT_EQ(light->d3dLight.Type, D3DLIGHT_DIRECTIONAL);
    EXPECT_EQ(channels(light->color), channels(0xFF336699u));
    EXPECT_EQ(light->intensity, 2.5f);
    const D3DLIGHT9& d = light->d3dLight;
    EXPECT_EQ((std::vector<float>{d.Attenuation0, d.Attenuation1, d.Attenuation2, d.Range, light->hotspot,
                                  light->falloffAngle}),
              (std::vector<float>{1, 2, 3, 150, 20, 35}));
    EXPECT_EQ(channels(light->shadowColor), channels(0x40102030u));
    EXPECT_EQ(light->shadowFlag, shadow);
    EXPECT_EQ(cache().shadowsUsed, shadow);
  }
}

TEST_F(SceneLoaderTest, MeshSubmeshesAndTheZeroIndexWarning) {
  VxkWriter w;
  w.group(1, NodeRecord{.name = "hull", .meshId = 2});
  w.mesh(2, MeshRecord{.nodeId = 1, .name = "ignored", .vertexBufferId = 3, .indexBufferId = 4,
                       .submeshes = {{.firstTriangle = 2, .materialId = 5, .startIndex = 6, .indexCount = 9},
                                     {.firstTriangle = 4, .materialId = kNoId, .startIndex = 15, .indexCount = 0}}});
  w.ambient(0xFF204060u);
  load(w);
  auto* mesh = object<Mesh>(2);
  ASSERT_NE(mesh, nullptr);
  ASSERT_EQ(mesh->submeshes.size(), 2u);
  const SubMesh* first = mesh->submeshes[0];
  const SubMesh* second = mesh->submeshes[1];
  EXPECT_EQ(first->mesh, mesh);
  EXPECT_EQ((std::vector<std::uint32_t>{first->firstTriangle, first->startIndex, first->indexCount, second->startIndex}),
            (std::vector<std::uint32_t>{2, 6, 9, 15}));
  EXPECT_EQ(second->materialRef.id, -1);
  ASSERT_EQ(shownBoxes().size(), 1u);  // the warning, and loading went on to the ambient chunk
  EXPECT_EQ(shownBoxes()[0].text, "One of the submeshes of hull has 0 vertices! Something is teh fuked!");
  EXPECT_EQ(shownBoxes()[0].caption, "Teh errorz!");
  EXPECT_EQ(shownBoxes()[0].type, UINT(MB_OK));
  EXPECT_EQ(channels(scene->ambientColor), channels(0xFF204060u));
}

TEST_F(SceneLoaderTest, ChunksWithoutTheirObjectAreSkipped) {
  VxkWriter w;
  w.group(1, NodeRecord{.name = "n"});
  w.indices(2, {0, 1, 2});
  w.mesh(3, MeshRecord{.nodeId = 9, .submeshes = {{.indexCount = 3}}});  // node never created
  w.sprite(4, SpriteRecord{.nodeId = 2});                               // an index buffer is no node
  w.cloud(5, CloudRecord{.nodeId = 77});
  w.prsAnimation(PRSAnimationRecord{.targetId = 8, .times = {0}, .values = {PRS{}}});
  w.floatAnimation(FloatAnimationRecord{.targetId = 2, .fieldName = "VISTRACK", .times = {0}, .values = {1}});
  w.vertexAnimation(VertexAnimationRecord{.targetId = 1});  // a node is no vertex buffer
  w.mesh(6, MeshRecord{.nodeId = 1});
  load(w);
  EXPECT_TRUE(scene->controllers.empty());
  EXPECT_EQ(object<Group>(1)->sprite, nullptr);
  // Only the loader, the group, the index buffer and the last mesh: no ids
  // were handed out for the skipped chunks' objects.
  EXPECT_EQ(scene->objects.size(), 4u);
  EXPECT_NE(object<Mesh>(3), nullptr);
}

TEST_F(SceneLoaderTest, VertexAndIndexRecords) {
  VertexRecord single{.attributeFlags = kVertexNormal | kVertexReserved | kVertexUv1 | kVertexUv2 | kVertexSmoothingKey,
                      .vertexCount = 2,
                      .frames = {{1, 2, 3, 4, 5, 6}},
                      .normals = {0, 0, 1, 0, 1, 0},
                      .uv1 = {0.25f, 0.5f, 0.75f, 1.0f},
                      .uv2 = {0.1f, 0.2f, 0.3f, 0.4f},
                      .smoothingKeys = {7, 9}};
  VertexRecord morph{.attributeFlags = kVertexUv2, .vertexCount = 2,
                     .frames = {{1, 1, 1, 2, 2, 2}, {3, 3, 3, 4, 4, 4}, {5, 5, 5, 6, 6, 6}},
                     .uv2 = {0.5f, 0.5f, 0.25f, 0.25f}};
  VxkWriter w;
  w.vertices(1, single);
  w.vertices(2, morph);
  w.indices(3, {0x10001, 2, 0xFFFF0003, 4, 5});
  load(w);
  auto* a = object<VertexBuffer>(1);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(dynamic_cast<MultiVertexBuffer*>(a), nullptr);
  ASSERT_EQ(a->vertexCount, 2u);
  EXPECT_EQ(a->vertexAt(1)->position, D3DXVECTOR3(4, 5, 6));
  EXPECT_EQ(a->vertexAt(0)->normal, D3DXVECTOR3(0, 0, 1));
  EXPECT_EQ(a->vertexAt(1)->uv1[0], 0.75f);
  EXPECT_EQ(a->vertexAt(1)->uv2[1], 0.4f);
  ASSERT_EQ(a->links.size(), 2u);
  EXPECT_EQ(a->links[1].smoothingKey, 9u);

  auto* b = object<MultiVertexBuffer>(2);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(b->frames.size(), 3u);
  EXPECT_EQ(b->frames[2], (std::vector<float>{5, 5, 5, 6, 6, 6}));
  EXPECT_EQ(b->vertexAt(1)->position, D3DXVECTOR3(2, 2, 2));  // frame 0 is also the vertices
  EXPECT_EQ(b->vertexAt(0)->uv2[0], 0.5f);
  EXPECT_EQ(b->vertexAt(0)->normal, D3DXVECTOR3(0, 0, 0));  // absent attributes stay 0
  EXPECT_EQ(b->vertexAt(0)->uv1[0], 0.0f);

  auto* ib = object<IndexBuffer>(3);  // low halves, whole triangles only
  ASSERT_NE(ib, nullptr);
  EXPECT_EQ(ib->triangleCount, 1u);
  EXPECT_EQ(ib->indices, (std::vector<std::uint16_t>{1, 2, 3}));
}

TEST_F(SceneLoaderTest, MaterialRecordVersions) {
  MaterialRecord m{.diffuseColor = 0xFF804020u, .specularColor = 0x00FFFFFFu, .ambientColor = 0x11223344u,
                   .emissiveColor = 0x7F336699u, .specularLevel = 1.5f, .secondLevel = 2.5f, .blendMode = 1,
                   .opacity = 0.75f, .diffuseMap = 10, .sphereMap = 11, .lightMap = 12, .specularMap = kNoId,
                   .modulateMap = 13, .normalMap = 14};
  VxkWriter w;
  w.material(1, m, 3);
  w.material(2, m, 2);
  w.material(3, m, 1);
  load(w);
  auto* v3 = object<Material>(1);
  ASSERT_NE(v3, nullptr);
  EXPECT_EQ(channels(v3->diffuseColor), channels(0xFF804020u));
  EXPECT_EQ(channels(v3->specularColor), channels(0x00FFFFFFu));
  EXPECT_EQ(channels(v3->ambientColor), channels(0x11223344u));
  EXPECT_EQ(v3->d3dMaterial.Emissive.a, 0x7F * kColorScale);
  EXPECT_EQ((std::vector<float>{v3->selfIllumination, v3->specularLevel, v3->secondLevel, float(v3->blendMode)}),
            (std::vector<float>{0x33 * kColorScale, 1.5f, 2.5f, 1}));
  // Map ids in file order diffuse, sphere, light, specular, modulate (from
  // version 2), normal (version 3); the ids are handed out once.
  struct Version {
    std::uint32_t sceneId;
    std::vector<std::int32_t> maps;
  };
  for (const Version& v : {Version{1, {2, 3, 4, -1, 5, 6}}, Version{7, {2, 3, 4, -1, 5, -1}},
                           Version{8, {2, 3, 4, -1, -1, -1}}}) {
    auto* material = object<Material>(v.sceneId);
    ASSERT_NE(material, nullptr);
    EXPECT_EQ((std::vector<std::int32_t>{material->diffuseMap.id, material->sphereMap.id, material->lightMap.id,
                                         material->specularMap.id, material->modulateMap.id, material->normalMap.id}),
              v.maps)
        << "scene id " << v.sceneId;
    EXPECT_EQ(material->opacity, 0.75f);
  }
  EXPECT_EQ(object<VXKSceneLoader>(0)->normalMapIds, (std::vector<std::uint32_t>{14}));
}

TEST_F(SceneLoaderTest, NormalMapsAreLoadedUncompressedOnlyWhenTheirMaterialComesFirst) {
  dir.write("bump.tga", solidTga(4, 4, 0xFF8080FF, 24));
  dir.write("early.tga", solidTga(4, 4, 0xFF0A141E, 24));
  VxkWriter w;
  w.texture(20, "early.tga");  // before the material naming it: compressed
  w.material(1, MaterialRecord{.diffuseMap = 20, .normalMap = 21});
  w.material(2, MaterialRecord{.normalMap = 20});
  w.texture(21, "bump.tga");
  load(w);
  auto format = [](Texture* t) {
    D3DSURFACE_DESC desc{};
    t->d3dTexture->GetLevelDesc(0, &desc);
    return desc.Format;
  };
  auto* early = object<Texture>(1);
  auto* bump = object<Texture>(3);
  ASSERT_TRUE(early && bump);
  EXPECT_EQ(early->name, "early.tga");
  EXPECT_EQ(bump->name, "bump.tga");
  EXPECT_EQ(format(early), D3DFMT_DXT5);
  EXPECT_NE(format(bump), D3DFMT_DXT5);
}

TEST_F(SceneLoaderTest, LooseSequenceFileMakesAnAnimatedTexture) {
  // The archive holds the images and a sequence file: only loose ones count.
  useArchive({{"wall.tga", solidTga(2, 2, 0xFF010203, 24)},
              {"frame1.tga", solidTga(2, 2, 0xFF040506, 24)},
              {"plain.tga", solidTga(2, 2, 0xFF070809, 24)},
              {"plain.seq", bytesOf("images = 1\ni0 = frame1.tga\n")}});
  dir.write("wall.seq", bytesOf("images = 2\ni0 = wall.tga\ni1 = frame1.tga\n"
                                "animations = 1\na0.field = Active Image\na0.keyframes = 2\n"
                                "a0.kf0 = 0 0\na0.kf1 = 100 2\n"));
  ASSERT_EQ(::mkdir(dir.file("pic.seq").c_str(), 0755), 0);  // a folder is no sequence file
  dir.write("pic.tga", solidTga(2, 2, 0xFF010101, 24));
  dir.write("ab", solidTga(2, 2, 0xFF010101, 24));  // too short to have a sequence name
  VxkWriter w;
  w.texture(1, "wall.tga");
  w.texture(2, "plain.tga");
  w.texture(3, "pic.tga");
  w.texture(4, "ab");
  loadFile(w, 50.0f, 3.0f, true);
  auto* wall = object<AnimatedTexture>(1);
  ASSERT_NE(wall, nullptr);
  EXPECT_EQ(wall->name, "wall.tga");
  EXPECT_EQ(wall->images.size(), 2u);
  ASSERT_EQ(scene->controllers.size(), 1u);  // with the loader's scale and offset
  EXPECT_EQ(keyTimes(scene->controllers[0]), (std::vector<float>{50, 350}));
  for (std::uint32_t id : {2u, 3u, 4u}) {
    Texture* plain = object<Texture>(id);
    ASSERT_NE(plain, nullptr) << id;
    EXPECT_EQ(dynamic_cast<AnimatedTexture*>(plain), nullptr) << plain->name;
    EXPECT_NE(plain->d3dTexture, nullptr) << plain->name;
  }
}

TEST_F(SceneLoaderTest, SpritesAndCloudsReadTheirGlowByteOppositely) {
  VxkWriter w;
  w.group(1, NodeRecord{.name = "a"});
  w.group(2, NodeRecord{.name = "b"});
  w.group(3, NodeRecord{.name = "c"});
  w.sprite(10, SpriteRecord{.nodeId = 1, .textureId = 30, .size = 4.0f, .drawnInGlowPass = true, .blendMode = 2});
  w.cloud(11, CloudRecord{.nodeId = 2, .extent = {2, 4, 6}, .count = 50, .concentration = 0.5f, .size = 0.25f,
                          .sizeFalloff = 0.1f, .brightness = 0.9f, .brightnessFalloff = 0.2f, .textureId = 30,
                          .drawnInGlowPass = false, .blendMode = 1});
  w.sprite(12, SpriteRecord{.nodeId = 3, .blendMode = 2}, 1);
  load(w);
  auto* sprite = object<Sprite>(4);
  auto* cloud = object<SpriteCloud>(6);
  auto* v1 = object<Sprite>(7);
  ASSERT_TRUE(sprite && cloud && v1);
  EXPECT_FALSE(sprite->isCloud());
  EXPECT_EQ(object<Group>(1)->sprite, sprite);
  EXPECT_EQ(object<Group>(2)->sprite, cloud);
  EXPECT_EQ((std::vector<int>{sprite->textureRef.id, sprite->drawnInGlowPass, sprite->blendMode}),
            (std::vector<int>{5, 1, 2}));
  EXPECT_EQ(sprite->size, 4.0f);
  EXPECT_EQ((std::vector<float>{cloud->halfExtent[0], cloud->halfExtent[1], cloud->halfExtent[2], cloud->concentration,
                                cloud->size, cloud->sizeFalloff, cloud->brightness, cloud->brightnessFalloff}),
            (std::vector<float>{1, 2, 3, 0.5f, 0.25f, 0.1f, 0.9f, 0.2f}));
  EXPECT_EQ((std::vector<int>{int(cloud->count), cloud->textureRef.id, cloud->drawnInGlowPass, cloud->blendMode}),
            (std::vector<int>{50, 5, 0, 1}));
  EXPECT_EQ((std::vector<int>{v1->drawnInGlowPass, v1->blendMode}), (std::vector<int>{0, 0}));  // no blend byte

  // The raw bytes: sprite byte 1 glows; cloud byte 1 does not, byte 0 does.
  VxkPayload cloudGlow;
  cloudGlow.u32(1).f32(1).f32(1).f32(1).u32(1).f32(0).f32(1).f32(0).f32(1).f32(0).u32(kNoId).u8(0);
  VxkWriter raw;
  raw.group(1, NodeRecord{});
  raw.rawChunk(kChunkCloud, 1, 2, cloudGlow.bytes());
  load(raw);
  EXPECT_TRUE(object<SpriteCloud>(2)->drawnInGlowPass);
}

TEST_F(SceneLoaderTest, NewLayoutKeysAccumulateScaledDeltas) {
  FloatAnimationRecord f{.targetId = 1, .fieldName = "VISTRACK", .times = {0, 254, 509, 100509}, .values = {0, 1, 2, 3}};
  VxkWriter alone;
  alone.floatAnimation(f);
  // Deltas 0 and 254 take one byte each, 255 and 100000 an escape byte and
  // a u32: header 12, target 4, name 10, count 4, deltas 12, values 16.
  EXPECT_EQ(alone.bytes().size(), 58u);
  VxkWriter w;
  w.group(1, NodeRecord{});
  w.floatAnimation(f);
  loadFile(w, 10.7f, 0.5f, false);
  ASSERT_EQ(scene->controllers.size(), 1u);
  // Running time from trunc(10.7) = 10, each step truncated: 10, 137, 264, 50264.
  EXPECT_EQ(keyTimes(scene->controllers[0]), (std::vector<float>{10, 137, 264, 50264}));
  EXPECT_EQ(keyValues(scene->controllers[0]), (std::vector<float>{0, 1, 2, 3}));
  auto* c = dynamic_cast<KeyframeFloatController*>(scene->controllers[0]);
  EXPECT_FALSE(c->looping);
  EXPECT_EQ(c->field, &object<Group>(1)->visibility);

  // A delta byte of 255 is always the escape, even for a delta of 255.
  VxkPayload p;
  p.u32(1).string("VISTRACK").u32(2).u8(255).u32(7).f32(1).u8(254).f32(2);
  VxkWriter raw;
  raw.group(1, NodeRecord{});
  raw.rawChunk(kChunkFloatAnimation, 2, kNoId, p.bytes());
  load(raw);
  EXPECT_EQ(keyTimes(scene->controllers.at(0)), (std::vector<float>{7, 261}));
}

TEST_F(SceneLoaderTest, OldLayoutAddsRangeKeysWhereTheyDiffer) {
  struct Case {
    std::vector<float> values;
    SampleRange range;
    std::vector<float> times, keyValues;
  };
  const Case cases[] = {
      // Range beyond the samples on both sides; step (301 − 100) / 2 = 100
      // in unsigned division.
      {{0.1f, 0.2f, 0.3f}, {0, 1000, 100, 301}, {0, 100, 200, 300, 1000}, {0.1f, 0.1f, 0.2f, 0.3f, 0.3f}},
      {{1, 2}, {5, 9, 5, 9}, {5, 9}, {1, 2}},     // range equal to the samples
      {{4}, {20, 40, 20, 30}, {20, 40}, {4, 4}},  // one sample: no step
      {{}, {0, 10, 2, 8}, {}, {}},                // no samples: no keys
  };
  VxkWriter w;
  w.group(1, NodeRecord{});
  for (const Case& c : cases)
    w.floatAnimation(FloatAnimationRecord{.targetId = 1, .fieldName = "VISTRACK", .values = c.values, .range = c.range},
                     1);
  load(w);
  ASSERT_EQ(scene->controllers.size(), std::size(cases));
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(keyTimes(scene->controllers[i]), cases[i].times) << i;
    EXPECT_EQ(keyValues(scene->controllers[i]), cases[i].keyValues) << i;
  }
}

TEST_F(SceneLoaderTest, PRSKeysCarryUnstoredPartsFromTheNode) {
  const PRS start = makePRS(10);
  PRS k0 = start, k1 = start;
  k0.position = {1, 2, 3};
  k1.position = {4, 5, 6};
  k1.scale = {9, 9, 9};  // not stored: the flags say position only
  VxkWriter w;
  w.group(1, NodeRecord{.prs = start});
  w.prsAnimation(PRSAnimationRecord{.targetId = 1, .componentFlags = kKeyPosition, .times = {100, 300}, .values = {k0, k1}});
  PRS q0, q1;
  q1.rotation = {0, 1, 0, 0};
  q1.scale = {5, 5, 5};
  w.prsAnimation(PRSAnimationRecord{.targetId = 1, .componentFlags = kKeyRotation | kKeyScale, .values = {q0, q1},
                                    .range = {.rangeStart = 0, .rangeEnd = 90, .firstSample = 10, .lastSample = 90}},
                 1);
  loadFile(w, 0.0f, 2.0f, true);
  ASSERT_EQ(scene->controllers.size(), 2u);
  auto* moved = dynamic_cast<KeyframePRSController*>(scene->controllers[0]);
  ASSERT_NE(moved, nullptr);
  EXPECT_EQ(moved->target, object<Group>(1));
  EXPECT_TRUE(moved->looping);
  EXPECT_EQ(keyTimes(moved), (std::vector<float>{200, 600}));
  EXPECT_EQ(moved->keys[1].prs.position, D3DXVECTOR3(4, 5, 6));
  EXPECT_EQ(moved->keys[1].prs.rotation, start.rotation);
  EXPECT_EQ(moved->keys[1].prs.scale, start.scale);
  // Old layout, scaled by 2: range start 0, samples at 20 and 180 (the
  // range end equals the last sample).
  auto* turned = dynamic_cast<KeyframePRSController*>(scene->controllers[1]);
  ASSERT_NE(turned, nullptr);
  EXPECT_EQ(keyTimes(turned), (std::vector<float>{0, 20, 180}));
  EXPECT_EQ(turned->keys[0].prs.position, start.position);
  EXPECT_EQ(turned->keys[2].prs.rotation, D3DXQUATERNION(0, 1, 0, 0));
  EXPECT_EQ(turned->keys[2].prs.scale, D3DXVECTOR3(5, 5, 5));
}

TEST_F(SceneLoaderTest, VertexAnimationTimesAreScaledAndShifted) {
  VxkWriter w;
  w.vertices(1, VertexRecord{.vertexCount = 1, .frames = {{0, 0, 0}, {1, 1, 1}}});
  w.vertexAnimation(VertexAnimationRecord{.targetId = 1, .unusedTime = 1, .loopLength = 1000, .startTime = 100,
                                          .endTime = 600});
  loadFile(w, 5.0f, 2.0f, false);
  ASSERT_EQ(scene->controllers.size(), 1u);
  auto* c = dynamic_cast<VertexController*>(scene->controllers[0]);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->target, object<MultiVertexBuffer>(1));
  EXPECT_EQ(c->loopLength, 2005u);
  EXPECT_EQ(c->startTime, 205u);
  EXPECT_EQ(c->endTime, 1205u);
  EXPECT_FALSE(c->looping);
}

TEST(VxkTime, ConversionTruncatesAndWraps) {
  const std::pair<float, std::uint32_t> cases[] = {{12.99f, 12},          {-0.5f, 0},      {-1.0f, 0xFFFFFFFFu},
                                                   {4294967296.0f, 0},     {std::nanf(""), 0}, {1e30f, 0xFFFFFFFFu}};
  for (const auto& [time, expected] : cases) EXPECT_EQ(VxkTimeToUnsigned(time), expected) << time;
}

TEST_F(SceneLoaderTest, WriterFileRoundTripsThroughTheDisk) {
  VxkWriter w;
  w.ambient(0x01020304u).group(5, NodeRecord{.name = "x"});
  std::string error;
  ASSERT_TRUE(w.writeFile(dir.file("out.vxk"), &error)) << error;
  std::ifstream file(dir.file("out.vxk"), std::ios::binary);
  const std::vector<std::uint8_t> back{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(back, w.bytes());
  // The group's header: type 2, version 3, id 5.
  EXPECT_EQ(std::vector<std::uint8_t>(back.begin() + 16, back.begin() + 24),
            (std::vector<std::uint8_t>{2, 0, 3, 0, 5, 0, 0, 0}));
  EXPECT_FALSE(w.writeFile(dir.file("no/such/folder/x.vxk"), &error));
  EXPECT_NE(error.find("no/such/folder"), std::string::npos);
}
