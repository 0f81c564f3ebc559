// vxtool convert on OBJ models written here: axes, geometry, smoothing,
// materials, textures, 16-bit splitting, and refused input.
#include "ConvertTestSupport.h"

#include "platform/d3dx/ImageDecoder.h"
#include "tools/ModelMaterials.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace {

// A box from (-1, 0, -1) to (1, 2, 1) (y up, as OBJ models usually are): the
// -x, -y and -z faces red, the others blue. No normals: the converter makes
// them, keeping the edges hard.
const char* kBoxObj =
    "mtllib box.mtl\no Box\n"
    "v -1 0 -1\nv 1 0 -1\nv 1 2 -1\nv -1 2 -1\nv -1 0 1\nv 1 0 1\nv 1 2 1\nv -1 2 1\n"
    "usemtl red\nf 1 4 3 2\nf 1 5 8 4\nf 1 2 6 5\n"
    "usemtl blue\nf 5 6 7 8\nf 2 3 7 6\nf 4 8 7 3\n";

const char* kBoxMtl =
    "newmtl red\nKd 1 0 0\nKa 0.5 0 0\nKs 1 1 1\nNs 50\nmap_Kd red.tga\nmap_bump bumps.tga\n"
    "newmtl blue\nKd 0 0 1\nd 0.5\n";

std::vector<std::string> folder(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

class ConvertObjTest : public ConvertTest {
 protected:
  void SetUp() override {
    ConvertTest::SetUp();
    write("box.obj", kBoxObj);
    write("box.mtl", kBoxMtl);
    dir.write("red.tga", solidTga(2, 2, D3DCOLOR_ARGB(255, 255, 0, 0), 24));
    // A height step along u: the normal map leans away from the rise.
    Bytes bumps = solidTga(4, 1, D3DCOLOR_ARGB(255, 0, 0, 0), 24);
    for (int i = 0; i < 3; ++i) bumps[18 + 3 * 2 + i] = 255;  // texel 2 white
    dir.write("bumps.tga", bumps);
  }
  VertexBuffer* box() { return vertices(node("Box")); }
};

}  // namespace

TEST_F(ConvertObjTest, WritesTheSceneAndItsTexturesAndReportsWhatItConverted) {
  ToolRun run = convert("box.obj out");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(folder(dir.file("out")), (std::vector<std::string>{"box.vxk", "bumps_normal.png", "red.png"}));
  EXPECT_NE(run.out.find("24 vertices, 12 triangles, 2 materials, 2 textures"), std::string::npos) << run.out;
  // Nothing but the output folder appears beside the model.
  EXPECT_EQ(folder(dir.path()),
            (std::vector<std::string>{".stderr", "box.mtl", "box.obj", "bumps.tga", "out", "red.tga"}));
  struct stat st;
  ASSERT_EQ(::stat(dir.file("out").c_str(), &st), 0);
  EXPECT_NE(st.st_mode & 0055, 0u) << "the folder is not left private";
}

TEST_F(ConvertObjTest, YUpModelsStandOnTheSceneZAxisAndScaleMultipliesLengths) {
  struct Case {
    const char* args;
    const char* axes;                    // as the report names them
    float maxX, minY, maxY, minZ, maxZ;  // bounds of the converted box in scene axes
  };
  const Case cases[] = {
      {"", "y up, z front", 1, -1, 1, 0, 2},         // (x, y, z) -> (x, z, y)
      {"--up z", "z up, -y front", 1, -2, 0, -1, 1},  // z already up: (x, y, z) -> (x, -y, z)
      {"--scale 2", "y up, z front", 2, -2, 2, 0, 4},
  };
  for (const Case& c : cases) {
    cwd.reset();
    std::filesystem::remove_all(dir.file("out"));
    ToolRun run = convert(std::string("box.obj out ") + c.args);
    ASSERT_EQ(run.code, 0) << c.args << run.err;
    EXPECT_NE(run.out.find(std::string("source axes ") + c.axes), std::string::npos) << run.out;
    load("box");
    VertexBuffer* vb = box();
    ASSERT_NE(vb, nullptr);
    D3DXVECTOR3 lo(1e9f, 1e9f, 1e9f), hi(-1e9f, -1e9f, -1e9f);
    for (std::uint32_t i = 0; i < vb->vertexCount; ++i) {
      const D3DXVECTOR3 p = toWorld(*node("Box"), vb->vertexAt(i)->position);
      D3DXVec3Minimize(&lo, &lo, &p);
      D3DXVec3Maximize(&hi, &hi, &p);
    }
    EXPECT_FLOAT_EQ(hi.x, c.maxX) << c.args;
    EXPECT_FLOAT_EQ(lo.y, c.minY) << c.args;
    EXPECT_FLOAT_EQ(hi.y, c.maxY) << c.args;
    EXPECT_FLOAT_EQ(hi.z, c.maxZ) << c.args;
    EXPECT_FLOAT_EQ(lo.z, c.minZ) << c.args;
  }
}

TEST_F(ConvertObjTest, HardEdgesStayHardAndFacesPointOutward) {
  ASSERT_EQ(convert("box.obj out").code, 0);
  load("box");
  VertexBuffer* vb = box();
  ASSERT_NE(vb, nullptr);
  ASSERT_EQ(vb->vertexCount, 24u);
  // The player's own normals (from the triangles and the smoothing keys):
  // each vertex keeps its face's normal, pointing away from the centre.
  const D3DXVECTOR3 centre(0, 0, 1);
  for (std::uint32_t i = 0; i < vb->vertexCount; ++i) {
    const LitVertex& v = *vb->vertexAt(i);
    const float axisAligned = std::max({std::fabs(v.normal.x), std::fabs(v.normal.y), std::fabs(v.normal.z)});
    EXPECT_NEAR(axisAligned, 1.0f, 1e-5f) << "vertex " << i << " was welded across an edge";
    const D3DXVECTOR3 out = v.position - centre;
    EXPECT_GT(D3DXVec3Dot(&out, &v.normal), 0.0f) << "vertex " << i << " faces inward";
  }
  // Eight corners, three faces each, three different keys at each corner.
  std::set<std::pair<std::string, std::uint32_t>> keys;
  for (std::uint32_t i = 0; i < vb->vertexCount; ++i) {
    const D3DXVECTOR3& p = vb->vertexAt(i)->position;
    keys.insert({std::to_string(p.x) + "," + std::to_string(p.y) + "," + std::to_string(p.z),
                 vb->links[i].smoothingKey});
  }
  EXPECT_EQ(keys.size(), 24u);
}

TEST_F(ConvertObjTest, VerticesTheModelSharesAreWeldedAcrossUvSeams) {
  // A roof of two slopes meeting at the ridge x = 0. The ridge vertices are
  // repeated with other texture coordinates but one normal: the player must
  // smooth across the ridge (average both slopes' normals).
  write("roof.obj",
        "o Roof\nv -1 0 0\nv 0 1 0\nv 0 1 -2\nv -1 0 -2\nv 1 0 0\nv 1 0 -2\n"
        "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvt 0.5 0.5\nvt 0.25 0.25\n"
        "vn 0 1 0\nvn -0.7071 0.7071 0\nvn 0.7071 0.7071 0\n"
        "f 1/1/2 2/2/1 3/3/1 4/4/2\nf 2/5/1 5/1/3 6/4/3 3/6/1\n");
  ASSERT_EQ(convert("roof.obj out").code, 0);
  load("roof");
  VertexBuffer* vb = vertices(node("Roof"));
  ASSERT_NE(vb, nullptr);
  ASSERT_EQ(vb->vertexCount, 8u) << "the ridge is stored twice";
  int ridge = 0;
  for (std::uint32_t i = 0; i < vb->vertexCount; ++i) {
    const LitVertex& v = *vb->vertexAt(i);
    if (v.position.x != 0.0f) continue;
    ++ridge;
    // The other slope's copy is its twin, so both slopes' triangles count:
    // a slope alone would give z = 0.707.
    EXPECT_EQ(vb->links[i].twins.size(), 1u);
    EXPECT_GT(v.normal.z, 0.9f) << "ridge vertex " << i;
  }
  EXPECT_EQ(ridge, 4);
}

TEST_F(ConvertObjTest, MaterialsCarryColoursOpacityShininessAndMaps) {
  ASSERT_EQ(convert("box.obj out").code, 0);
  load("box");
  Mesh* mesh = node("Box")->meshRef.as<Mesh>();
  ASSERT_NE(mesh, nullptr);
  ASSERT_EQ(mesh->submeshes.size(), 2u) << "one sub-mesh per material";
  Material* red = nullptr;
  Material* blue = nullptr;
  for (SubMesh* sub : mesh->submeshes) {
    EXPECT_EQ(sub->indexCount, 18u);
    Material* m = sub->materialRef.as<Material>();
    ASSERT_NE(m, nullptr);
    (m->diffuseColor[0] > 0.5f ? red : blue) = m;
  }
  ASSERT_TRUE(red && blue);
  EXPECT_THAT(std::vector<float>(red->diffuseColor, red->diffuseColor + 3), ::testing::ElementsAre(1, 0, 0));
  EXPECT_NEAR(red->ambientColor[0], 0.5f, 0.003f);
  EXPECT_FLOAT_EQ(red->specularLevel, 0.5f) << "Ns 50 of 100";
  EXPECT_FLOAT_EQ(red->opacity, 1.0f);
  Texture* diffuse = red->diffuseMap.as<Texture>();
  Texture* normals = red->normalMap.as<Texture>();
  ASSERT_TRUE(diffuse && normals);
  EXPECT_EQ(diffuse->name, "red.png");
  EXPECT_EQ(normals->name, "bumps_normal.png");

  EXPECT_THAT(std::vector<float>(blue->diffuseColor, blue->diffuseColor + 3), ::testing::ElementsAre(0, 0, 1));
  EXPECT_FLOAT_EQ(blue->opacity, 0.5f);
  EXPECT_EQ(blue->blendMode, 2) << "alpha blending";
  EXPECT_EQ(blue->diffuseMap.id, -1);
  EXPECT_FLOAT_EQ(blue->specularLevel, 0.0f) << "no shininess, no highlight";
}

TEST_F(ConvertObjTest, HeightMapsBecomeNormalMapsLeaningAwayFromTheRise) {
  ASSERT_EQ(convert("box.obj out").code, 0);
  const std::string png = readText(dir.file("out/bumps_normal.png"));
  DecodedImage image;
  ASSERT_EQ(decodeImage(png.data(), png.size(), image), 0);
  ASSERT_EQ(image.width, 4u);
  // Heights 0 0 1 0 (wrapping): slopes du = +0.5 at texel 1, -0.5 at texel
  // 3, 0 at texels 0 and 2. Strength 2: n = (-1, 0, 1) / sqrt 2 at texel 1.
  const float s = 1.0f / std::sqrt(2.0f);
  auto byte = [](float n) { return int((n + 1.0f) * 0.5f * 255.0f + 0.5f); };
  const int expectedRed[4] = {byte(0), byte(-s), byte(0), byte(s)};
  for (unsigned x = 0; x < 4; ++x) {
    const D3DCOLOR c = image.texel(x, 0);
    EXPECT_NEAR(int((c >> 16) & 0xFF), expectedRed[x], 1) << "texel " << x;
    EXPECT_NEAR(int((c >> 8) & 0xFF), byte(0), 1) << "texel " << x;
  }
}

TEST_F(ConvertObjTest, AMissingTextureIsAWarningAndTheModelConvertsWithoutIt) {
  std::filesystem::remove(dir.file("red.tga"));
  ToolRun run = convert("box.obj out");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("warning: texture 'red.tga' left out"), std::string::npos) << run.err;
  load("box");  // a texture named but missing would end the show here
  for (SubMesh* sub : node("Box")->meshRef.as<Mesh>()->submeshes)
    EXPECT_EQ(sub->materialRef.as<Material>()->diffuseMap.id, -1);
}

TEST_F(ConvertObjTest, AnExistingFolderIsRefusedWithoutForceAndKeptWithIt) {
  std::filesystem::create_directory(dir.file("out"));
  dir.write("out/mine.txt", bytesOf("keep me"));
  ToolRun refused = convert("box.obj out");
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("exists (use --force"), std::string::npos) << refused.err;
  EXPECT_EQ(folder(dir.file("out")), (std::vector<std::string>{"mine.txt"}));

  ToolRun forced = convert("box.obj out --force --name house");
  ASSERT_EQ(forced.code, 0) << forced.err;
  EXPECT_EQ(folder(dir.file("out")),
            (std::vector<std::string>{"bumps_normal.png", "house.vxk", "mine.txt", "red.png"}));
  EXPECT_EQ(readText(dir.file("out/mine.txt")), "keep me");
  EXPECT_EQ(folder(dir.path()).size(), 6u) << "no work folder left behind";
}

TEST_F(ConvertObjTest, UnreadableModelsAndBadOptionsFailCleanly) {
  GltfBuilder gltf;
  std::string text = gltf.json({"\"scenes\":[{\"nodes\":[0]}]", "\"nodes\":[{\"mesh\":0}]", gltfBox(gltf),
                                "\"materials\":[{}]"});
  write("cut.gltf", text.substr(0, text.size() / 2));
  struct Case {
    const char* args;
    const char* message;
  };
  const Case cases[] = {
      {"cut.gltf out", "cannot read 'cut.gltf'"},
      {"nothing.obj out", "cannot read 'nothing.obj'"},
      {"box.obj out --up x", "bad --up 'x'"},
      {"box.obj out --fps 0", "bad --fps '0'"},
      {"box.obj out --scale -1", "bad --scale '-1'"},
      {"box.obj out --name a/b", "bad scene name 'a/b'"},
      {"box.obj", "convert takes a model and an output folder"},
  };
  for (const Case& c : cases) {
    ToolRun run = convert(c.args);
    EXPECT_EQ(run.code, 1) << c.args;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.args << ": " << run.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("out"))) << c.args;
  }
  EXPECT_EQ(folder(dir.path()).size(), 6u) << "no work folder left behind";
}

TEST_F(ConvertObjTest, MeshesBeyondSixteenBitIndicesAreSplit) {
  // A 260 x 260 grid of vertices: 67600, more than 16-bit indices reach.
  const int n = 260;
  std::string obj = "o Grid\n";
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x) obj += "v " + std::to_string(x) + " 0 " + std::to_string(y) + "\n";
  for (int y = 0; y + 1 < n; ++y)
    for (int x = 0; x + 1 < n; ++x) {
      const int a = y * n + x + 1;
      obj += "f " + std::to_string(a) + " " + std::to_string(a + n) + " " + std::to_string(a + n + 1) + " " +
             std::to_string(a + 1) + "\n";
    }
  write("grid.obj", obj);
  ToolRun run = convert("grid.obj out");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.err.find("split into 2 meshes"), std::string::npos) << run.err;
  load("grid");
  std::size_t triangles = 0, meshes = 0;
  for (Base* object : scene->objects) {
    auto* holder = dynamic_cast<Group*>(object);
    VertexBuffer* vb = vertices(holder);
    if (!vb) continue;
    ++meshes;
    EXPECT_LE(vb->vertexCount, 65536u);
    IndexBuffer* ib = holder->meshRef.as<Mesh>()->indexBufferRef.as<IndexBuffer>();
    triangles += ib->triangleCount;
    const auto top = *std::max_element(ib->indices.begin(), ib->indices.end());
    EXPECT_LT(top, vb->vertexCount) << "an index wrapped at 16 bits";
  }
  EXPECT_EQ(meshes, 2u);
  EXPECT_EQ(triangles, std::size_t(2 * (n - 1) * (n - 1)));
}

namespace {

// PNG bytes of a w x h image of one ARGB colour.
Bytes solidPng(const TempDir& dir, unsigned w, unsigned h, std::uint32_t argb) {
  std::string error;
  const std::string path = dir.file(".png-scratch");
  EXPECT_TRUE(writePngRgba(path, std::vector<std::uint32_t>(std::size_t(w) * h, argb), w, h, &error)) << error;
  const std::string text = readText(path);
  std::filesystem::remove(path);
  return Bytes(text.begin(), text.end());
}

}  // namespace

TEST_F(ConvertTest, ImagesBesideOrInsideTheModelAreWrittenOnceEachUnderNamesOfTheirOwn) {
  const Bytes wood = solidPng(dir, 2, 2, 0xFF806040u), otherWood = solidPng(dir, 2, 2, 0xFF102030u);
  const Bytes green = solidPng(dir, 2, 2, 0xFF00FF00u);
  std::filesystem::create_directories(dir.file("maps"));
  std::filesystem::create_directories(dir.file("other"));
  dir.write("maps/wood.png", wood);
  dir.write("other/wood.png", otherWood);
  GltfBuilder gltf;
  const std::string meshes = gltfBox(gltf, {0, 1, 2, 0, 0, 0});
  // The embedded image lives in the buffer: its own buffer view, no accessor.
  const int view = gltf.imageView(green);
  auto texture = [](int i) { return "{\"index\":" + std::to_string(i) + "}"; };
  write("model.gltf",
        gltf.json({"\"scenes\":[{\"nodes\":[0]}]", "\"nodes\":[{\"name\":\"Box\",\"mesh\":0}]", meshes,
                   "\"images\":[{\"uri\":\"maps/wood.png\"},{\"bufferView\":" + std::to_string(view) +
                       ",\"mimeType\":\"image/png\"},{\"uri\":\"other/wood.png\"}]",
                   "\"textures\":[{\"source\":0},{\"source\":1},{\"source\":2}]",
                   "\"materials\":[{\"pbrMetallicRoughness\":{\"baseColorTexture\":" + texture(0) + "}},"
                   "{\"pbrMetallicRoughness\":{\"baseColorTexture\":" + texture(1) + "},\"normalTexture\":" +
                       texture(0) + "},{\"pbrMetallicRoughness\":{\"baseColorTexture\":" + texture(2) + "}}]"}));
  ToolRun run = convert("model.gltf out");
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find("3 textures"), std::string::npos) << run.out;
  const std::vector<std::string> files = folder(dir.file("out"));
  ASSERT_EQ(files.size(), 4u) << ::testing::PrintToString(files);
  EXPECT_EQ(readText(dir.file("out/wood.png")), std::string(wood.begin(), wood.end())) << "copied as it is";
  EXPECT_EQ(readText(dir.file("out/wood_2.png")), std::string(otherWood.begin(), otherWood.end()));
  load("model");
  std::set<std::string> diffuseNames;
  Texture* firstDiffuse = nullptr;
  Texture* normals = nullptr;
  for (SubMesh* sub : node("Box")->meshRef.as<Mesh>()->submeshes) {
    Material* m = sub->materialRef.as<Material>();
    Texture* diffuse = m->diffuseMap.as<Texture>();
    ASSERT_NE(diffuse, nullptr);
    diffuseNames.insert(diffuse->name);
    if (diffuse->name == "wood.png") firstDiffuse = diffuse;
    if (Texture* n = m->normalMap.as<Texture>()) normals = n;
  }
  EXPECT_EQ(diffuseNames.size(), 3u);
  ASSERT_TRUE(firstDiffuse && normals);
  EXPECT_EQ(normals, firstDiffuse) << "one file, one texture";
  // The embedded image: the one name that is neither wood.
  for (const std::string& name : diffuseNames) {
    if (name.rfind("wood", 0) == 0) continue;
    const std::string png = readText(dir.file("out/" + name));
    DecodedImage image;
    ASSERT_EQ(decodeImage(png.data(), png.size(), image), 0) << name;
    EXPECT_EQ(image.texel(1, 1), 0xFF00FF00u);
  }
}

TEST_F(ConvertTest, RepeatedNodeNamesAreMadeUniqueUnlessKeepNamesIsGiven) {
  GltfBuilder gltf;
  write("parts.gltf",
        gltf.json({"\"scenes\":[{\"nodes\":[0,1]}]",
                   "\"nodes\":[{\"name\":\"Part\",\"children\":[2]},{\"name\":\"Part\"},{\"name\":\"Part\"}]"}));
  struct Case {
    const char* args;
    std::vector<std::string> names;  // the three nodes, in file order (parents first)
  };
  const Case cases[] = {{"", {"Part", "Part#2", "Part#3"}}, {"--keep-names", {"Part", "Part", "Part"}}};
  for (const Case& c : cases) {
    cwd.reset();
    std::filesystem::remove_all(dir.file("out"));
    ToolRun run = convert(std::string("parts.gltf out ") + c.args);
    ASSERT_EQ(run.code, 0) << run.err;
    load("parts");
    std::vector<std::string> names;
    for (Base* object : scene->objects)
      if (auto* group = dynamic_cast<Group*>(object); group && group != scene->root) names.push_back(group->name);
    EXPECT_EQ(names, c.names) << c.args;
  }
}
