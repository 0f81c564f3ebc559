// Damaged and hostile scene files: every refusal is the show's "Error" box
// with exit code 0 and a text naming the file, never a crash, an endless
// loop or a giant allocation.
#include "tests/scene/SceneTestSupport.h"

using namespace vxk;

namespace {

using SceneLoaderDamageTest = LoaderTest;

const std::string kDamaged = "Damaged chunk in file scene.vxk!";

// One valid chunk of every type (and the versions with the most fields),
// after the chunks it needs: a node with id 1 and a multi-frame vertex
// buffer with id 2.
struct ChunkCase {
  const char* what;
  std::function<void(VxkWriter&)> write;
};

std::vector<ChunkCase> everyChunk() {
  PRS prs;
  return {
      {"ambient", [](VxkWriter& w) { w.ambient(0xFF102030u); }},
      {"group", [](VxkWriter& w) { w.group(5, NodeRecord{.name = "g", .configText = "a = 1", .meshId = 9}); }},
      {"camera", [](VxkWriter& w) {
         w.camera(5, CameraRecord{.node = {.name = "c"}, .activationTimes = {1, 2}, .fogEnabled = true});
       }},
      {"light", [](VxkWriter& w) { w.light(5, LightRecord{.node = {.name = "l"}}); }},
      {"mesh", [](VxkWriter& w) {
         w.mesh(5, MeshRecord{.nodeId = 1, .name = "m", .vertexBufferId = 2, .indexBufferId = 3,
                              .submeshes = {{.materialId = 4, .indexCount = 3}, {.indexCount = 6}}});
       }},
      {"vertices", [](VxkWriter& w) {
         w.vertices(5, VertexRecord{.attributeFlags = 0x1F, .vertexCount = 2, .frames = {{}, {}}});
       }},
      {"indices", [](VxkWriter& w) { w.indices(5, {0, 1, 2, 3}); }},
      {"material", [](VxkWriter& w) { w.material(5, MaterialRecord{.diffuseMap = 6, .normalMap = 7}); }},
      {"texture", [](VxkWriter& w) { w.texture(5, "tex.tga"); }},
      {"prs keys", [prs](VxkWriter& w) {
         w.prsAnimation(PRSAnimationRecord{.targetId = 1, .times = {1, 300}, .values = {prs, prs}});
       }},
      {"prs samples", [prs](VxkWriter& w) {
         w.prsAnimation(PRSAnimationRecord{.targetId = 1, .values = {prs, prs}, .range = {0, 10, 0, 10}}, 1);
       }},
      {"vertex animation", [](VxkWriter& w) {
         w.vertexAnimation(VertexAnimationRecord{.targetId = 2, .loopLength = 10, .endTime = 5});
       }},
      {"float keys", [](VxkWriter& w) {
         w.floatAnimation(FloatAnimationRecord{.targetId = 1, .fieldName = "VISTRACK", .times = {0, 1000}, .values = {0, 1}});
       }},
      {"float samples", [](VxkWriter& w) {
         w.floatAnimation(FloatAnimationRecord{.targetId = 1, .fieldName = "VISTRACK", .values = {0, 1}, .range = {0, 9, 0, 9}},
                          1);
       }},
      {"sprite", [](VxkWriter& w) { w.sprite(5, SpriteRecord{.nodeId = 1, .textureId = 6}); }},
      {"cloud", [](VxkWriter& w) { w.cloud(5, CloudRecord{.nodeId = 1, .count = 3, .textureId = 6}); }},
  };
}

VxkWriter prelude() {
  VxkWriter w;
  w.group(1, NodeRecord{.name = "owner"});
  w.vertices(2, VertexRecord{.vertexCount = 1, .frames = {{0, 0, 0}, {1, 1, 1}}});
  return w;
}

std::vector<std::uint8_t> payloadOf(const VxkWriter& chunk) {
  return std::vector<std::uint8_t>(chunk.bytes().begin() + 12, chunk.bytes().end());
}

std::uint16_t typeOf(const VxkWriter& chunk) { return std::uint16_t(chunk.bytes()[0] | chunk.bytes()[1] << 8); }
std::uint16_t versionOf(const VxkWriter& chunk) { return std::uint16_t(chunk.bytes()[2] | chunk.bytes()[3] << 8); }

}  // namespace

TEST_F(SceneLoaderDamageTest, EveryChunkCutShortIsRefusedAndWholeOnesLoad) {
  dir.write("tex.tga", solidTga(2, 2, 0xFF090909, 24));
  for (const ChunkCase& c : everyChunk()) {
    SCOPED_TRACE(c.what);
    VxkWriter chunk;
    c.write(chunk);
    const std::vector<std::uint8_t> payload = payloadOf(chunk);

    // Whole, and with bytes the handler does not read after it.
    VxkWriter whole = prelude();
    std::vector<std::uint8_t> padded = payload;
    padded.insert(padded.end(), {0xAA, 0xBB, 0xCC});
    whole.rawChunk(typeOf(chunk), versionOf(chunk), 5, padded);
    whole.ambient(0xFF0000FFu);
    load(whole);
    EXPECT_EQ(scene->ambientColor[2], 255 * kColorScale) << "the chunk after it was not read in step";

    // Every shorter payload runs a read past its end.
    for (std::size_t length = 0; length < payload.size(); ++length) {
      VxkWriter cut = prelude();
      cut.rawChunk(typeOf(chunk), versionOf(chunk), 5,
                   std::vector<std::uint8_t>(payload.begin(), payload.begin() + std::ptrdiff_t(length)));
      ASSERT_EQ(loadFatal(cut), kDamaged) << "payload cut to " << length << " of " << payload.size();
    }
  }
}

TEST_F(SceneLoaderDamageTest, HeadersAndLengthsPastTheEndOfTheFile) {
  VxkWriter good;
  good.group(1, NodeRecord{.name = "a"});

  for (std::size_t extra = 1; extra < 12; ++extra) {
    VxkWriter w = good;
    w.raw(std::vector<std::uint8_t>(extra, 2));
    EXPECT_EQ(loadFatal(w), "Chunk header cut off at the end of file scene.vxk!") << extra << " stray bytes";
  }

  VxkWriter longer = good;
  longer.rawHeader(kChunkGroup, 1, 2, 5).raw({1, 2, 3, 4});
  EXPECT_EQ(loadFatal(longer), "Chunk runs past the end of file scene.vxk!");

  VxkWriter huge;
  huge.rawHeader(kChunkAmbient, 1, 0, 0xFFFFFFF8u).raw({1, 2, 3, 4});
  EXPECT_EQ(loadFatal(huge, "big.vxk"), "Chunk runs past the end of file big.vxk!");
}

TEST_F(SceneLoaderDamageTest, UnknownChunkTypes) {
  for (std::uint16_t type : {0, 15, 0xFFFF}) {
    VxkWriter w;
    w.group(1, NodeRecord{}).rawChunk(type, 1, 3, {});
    EXPECT_EQ(loadFatal(w), "Unknown chunk in file!") << "type " << type;
    EXPECT_EQ(scene->objects.size(), 2u);  // loader and group, unlinked
  }
}

TEST_F(SceneLoaderDamageTest, CountsThePayloadCannotHoldAreRefusedBeforeAllocating) {
  struct Case {
    const char* what;
    std::uint16_t type, version;
    VxkPayload payload;
  };
  std::vector<Case> cases;
  cases.push_back({"index count", kChunkIndices, 1, VxkPayload().u32(0xFFFFFFFFu).u32(1)});
  cases.push_back({"vertex frames without vertices", kChunkVertices, 1,
                   VxkPayload().u32(0xFFFFFFFFu).u32(0).u16(0).u32(0)});
  cases.push_back({"vertices without frames", kChunkVertices, 1, VxkPayload().u32(0).u32(0).u16(0).u32(0xFFFFFFFFu)});
  cases.push_back({"frames × vertices", kChunkVertices, 1,
                   VxkPayload().u32(0x10000).u32(0).u16(0).u32(0x10000).f32(1).f32(2).f32(3)});
  cases.push_back({"first frame attributes", kChunkVertices, 1, VxkPayload().u32(1).u32(0x1F).u16(0).u32(2)});
  cases.push_back({"bare PRS samples", kChunkPRSAnimation, 1,
                   VxkPayload().u32(1).u32(0).u32(10).u32(0).u32(10).u32(0).u32(0xFFFFFFFFu)});
  cases.push_back({"PRS samples", kChunkPRSAnimation, 1,
                   VxkPayload().u32(1).u32(0).u32(10).u32(0).u32(10).u32(kKeyScale).u32(0x40000000u)});
  cases.push_back({"float samples", kChunkFloatAnimation, 1,
                   VxkPayload().u32(1).string("VISTRACK").u32(0).u32(1).u32(0).u32(1).u32(0xFFFFFFFFu)});
  cases.push_back({"PRS keys", kChunkPRSAnimation, 2, VxkPayload().u32(1).u32(0).u32(0xFFFFFFFFu).u8(1)});
  cases.push_back({"activation times", kChunkCamera, 2,
                   [] {
                     VxkPayload p;
                     p.i32(-1).string("c").prs(PRS{}).string("").u8(0).u8(0).f32(1).f32(1).f32(10);
                     return p.u32(0x3FFFFFFFu).u32(5);
                   }()});
  for (const Case& c : cases) {
    VxkWriter w;
    w.group(1, NodeRecord{}).rawChunk(c.type, c.version, 9, c.payload.bytes());
    EXPECT_EQ(loadFatal(w), kDamaged) << c.what;
  }
}

TEST_F(SceneLoaderDamageTest, NestedFilesThatLoadThemselvesAreRefused) {
  VxkWriter self;
  self.group(1, NodeRecord{.configText = "loader = 1\nfilename = scene.vxk"});
  EXPECT_EQ(loadFatal(self), "Scene file scene.vxk loads itself (through scene.vxk)!");

  // a -> b -> a: refused when b names a.
  VxkWriter a, b;
  a.group(1, NodeRecord{.configText = "loader = 1\nfilename = b.vxk"});
  b.group(1, NodeRecord{.configText = "loader = 1\nfilename = a.vxk"});
  writeFile("b.vxk", b);
  EXPECT_EQ(loadFatal(a, "a.vxk"), "Scene file a.vxk loads itself (through b.vxk)!");

  // The same file twice side by side is no loop.
  VxkWriter leaf, twice;
  leaf.group(1, NodeRecord{.name = "leaf"});
  writeFile("leaf.vxk", leaf);
  twice.group(1, NodeRecord{.configText = "loader = 1\nfilename = leaf.vxk"});
  twice.group(2, NodeRecord{.configText = "loader = 1\nfilename = leaf.vxk"});
  load(twice);
  EXPECT_EQ(object<Group>(3)->name, "leaf");
  EXPECT_EQ(object<Group>(6)->name, "leaf");

  // Different names of one file: refused once a name comes round again.
  VxkWriter dotted;
  dotted.group(1, NodeRecord{.configText = "loader = 1\nfilename = ./dots.vxk"});
  writeFile("dots.vxk", dotted);
  const std::string message = fatal([&] { newScene()->LoadScene("dots.vxk"); });
  EXPECT_EQ(message.rfind("Scene file ./dots.vxk loads itself", 0), 0u) << message;
}

TEST_F(SceneLoaderDamageTest, MissingFilesUseTheResourceLayersMessage) {
  EXPECT_EQ(fatal([&] { newScene()->LoadScene("absent.vxk"); }), "Couldn't open file: absent.vxk");
  VxkWriter w;
  w.group(1, NodeRecord{.configText = "loader = 1\nfilename = gone.vxk"});
  EXPECT_EQ(loadFatal(w), "Couldn't open file: gone.vxk");
  VxkWriter noName;
  noName.group(1, NodeRecord{.configText = "loader = 1"});
  EXPECT_EQ(loadFatal(noName), "Couldn't open file: ");
}

TEST_F(SceneLoaderDamageTest, EmptyFileIsAnEmptyScene) {
  load(VxkWriter{});
  EXPECT_EQ(scene->objects.size(), 1u);
  EXPECT_EQ(scene->root, nullptr);
  EXPECT_TRUE(scene->loaded);
  scene->Prepare();
  scene->SetTime(100.0f);
  scene->Render();
}
