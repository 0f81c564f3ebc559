#pragma once
// Shared by the vxtool convert suites: glTF files built in the test (JSON
// with one base64 buffer), the real vxtool run on them, and the result
// loaded with the player's loader on the recording device.
#include "ToolRun.h"
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/Texture.h"
#include "tests/scene/SceneTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

// A glTF 2.0 file: accessors over one buffer embedded as a data URI; nodes,
// meshes and the rest are given as JSON texts.
class GltfBuilder {
 public:
  // type: "SCALAR", "VEC3", ...; component 5126 float, 5123 u16, 5121 u8.
  int floats(const std::vector<float>& values, const char* type, bool minMax = false) {
    const int components = componentCount(type);
    std::string extra;
    if (minMax) {
      std::vector<float> lo(values.begin(), values.begin() + components), hi = lo;
      for (std::size_t i = 0; i < values.size(); ++i) {
        lo[i % components] = std::min(lo[i % components], values[i]);
        hi[i % components] = std::max(hi[i % components], values[i]);
      }
      extra = ",\"min\":" + list(lo) + ",\"max\":" + list(hi);
    }
    return add(values.data(), values.size() * 4, 5126, values.size() / components, type, extra);
  }
  int shorts(const std::vector<std::uint16_t>& values) {
    return add(values.data(), values.size() * 2, 5123, values.size(), "SCALAR", "");
  }
  int bytes(const std::vector<std::uint8_t>& values, const char* type) {
    return add(values.data(), values.size(), 5121, values.size() / componentCount(type), type, "");
  }

  // A buffer view of raw bytes (an embedded image); its index.
  int imageView(const std::vector<std::uint8_t>& data) {
    while (m_buffer.size() % 4) m_buffer.push_back(0);
    m_views.push_back("{\"buffer\":0,\"byteOffset\":" + std::to_string(m_buffer.size()) +
                      ",\"byteLength\":" + std::to_string(data.size()) + "}");
    m_buffer.insert(m_buffer.end(), data.begin(), data.end());
    return int(m_views.size()) - 1;
  }

  // The whole file; parts are JSON members ("\"nodes\":[...]", ...).
  std::string json(std::initializer_list<std::string> parts) const {
    std::string out = "{\"asset\":{\"version\":\"2.0\"},\"scene\":0";
    for (const std::string& part : parts) out += "," + part;
    out += ",\"buffers\":[{\"byteLength\":" + std::to_string(m_buffer.size()) +
           ",\"uri\":\"data:application/octet-stream;base64," + base64() + "\"}]";
    out += ",\"bufferViews\":[" + join(m_views) + "],\"accessors\":[" + join(m_accessors) + "]}";
    return out;
  }

  static std::string list(const std::vector<float>& values) {
    std::string out = "[";
    for (std::size_t i = 0; i < values.size(); ++i) {
      char number[32];
      std::snprintf(number, sizeof number, "%.9g", values[i]);
      out += (i ? "," : "") + std::string(number);
    }
    return out + "]";
  }

 private:
  static int componentCount(const std::string& type) {
    return type == "SCALAR" ? 1 : type == "VEC2" ? 2 : type == "VEC3" ? 3 : type == "VEC4" ? 4 : 16;
  }
  int add(const void* data, std::size_t size, int component, std::size_t count, const char* type,
          const std::string& extra) {
    while (m_buffer.size() % 4) m_buffer.push_back(0);
    const std::size_t offset = m_buffer.size();
    m_buffer.insert(m_buffer.end(), static_cast<const std::uint8_t*>(data),
                    static_cast<const std::uint8_t*>(data) + size);
    m_views.push_back("{\"buffer\":0,\"byteOffset\":" + std::to_string(offset) +
                      ",\"byteLength\":" + std::to_string(size) + "}");
    m_accessors.push_back("{\"bufferView\":" + std::to_string(m_views.size() - 1) +
                          ",\"componentType\":" + std::to_string(component) + ",\"count\":" + std::to_string(count) +
                          ",\"type\":\"" + type + "\"" + extra + "}");
    return int(m_accessors.size()) - 1;
  }
  static std::string join(const std::vector<std::string>& items) {
    std::string out;
    for (std::size_t i = 0; i < items.size(); ++i) out += (i ? "," : "") + items[i];
    return out;
  }
  std::string base64() const {
    static const char* k = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < m_buffer.size(); i += 3) {
      const std::uint32_t n = std::uint32_t(m_buffer[i]) << 16 |
                              (i + 1 < m_buffer.size() ? std::uint32_t(m_buffer[i + 1]) << 8 : 0) |
                              (i + 2 < m_buffer.size() ? m_buffer[i + 2] : 0);
      out += k[n >> 18 & 63];
      out += k[n >> 12 & 63];
      out += i + 1 < m_buffer.size() ? k[n >> 6 & 63] : '=';
      out += i + 2 < m_buffer.size() ? k[n & 63] : '=';
    }
    return out;
  }

  std::vector<std::uint8_t> m_buffer;
  std::vector<std::string> m_views, m_accessors;
};

// A box of half-size 1 about the origin as glTF mesh 0 (24 vertices, each
// face with its own normal, counter-clockwise seen from outside). Faces in
// the order +x, -x, +y, -y, +z, -z take the materials given (one primitive
// per material). Returns the "meshes" member.
inline std::string gltfBox(GltfBuilder& gltf, const std::vector<int>& faceMaterials = {0, 0, 0, 0, 0, 0}) {
  static const float kFaces[6][3][3] = {
      {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},  {{-1, 0, 0}, {0, 0, 1}, {0, 1, 0}}, {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}},
      {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}, {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},  {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}},
  };
  std::vector<float> positions, normals;
  for (const auto& face : kFaces) {
    for (const auto& [s, t] : {std::pair{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
      for (int k = 0; k < 3; ++k) {
        positions.push_back(face[0][k] + float(s) * face[1][k] + float(t) * face[2][k]);
        normals.push_back(face[0][k]);
      }
    }
  }
  const int p = gltf.floats(positions, "VEC3", true), n = gltf.floats(normals, "VEC3");
  std::string primitives;
  std::vector<int> done;
  for (int material : faceMaterials) {
    if (std::find(done.begin(), done.end(), material) != done.end()) continue;
    done.push_back(material);
    std::vector<std::uint16_t> indices;
    for (std::uint16_t face = 0; face < 6; ++face)
      if (faceMaterials[face] == material)
        for (int i : {0, 1, 2, 0, 2, 3}) indices.push_back(std::uint16_t(face * 4 + i));
    primitives += std::string(primitives.empty() ? "" : ",") + "{\"attributes\":{\"POSITION\":" + std::to_string(p) +
                  ",\"NORMAL\":" + std::to_string(n) + "},\"indices\":" + std::to_string(gltf.shorts(indices)) +
                  ",\"material\":" + std::to_string(material) + "}";
  }
  return "\"meshes\":[{\"primitives\":[" + primitives + "]}]";
}

// Model files written into the scratch folder, converted into out/ by the
// real vxtool, and loaded from there with the player's loader.
class ConvertTest : public SceneTest {
 protected:
  void TearDown() override {
    cwd.reset();
    SceneTest::TearDown();
  }
  ToolRun convert(const std::string& args) { return vxtool(dir, "convert " + args); }
  void write(const std::string& name, const std::string& text) { dir.write(name, bytesOf(text)); }
  // Loads out/NAME.vxk as the script would, textures from out/, prepared.
  void load(const std::string& name, const std::string& folder = "out") {
    cwd.reset();  // back where the process started, before stepping into the folder
    cwd = std::make_unique<CurrentDirectory>(dir.file(folder));
    delete scene;
    scene = new SceneGraph(device);
    auto* loader = new VXKSceneLoader(scene->AllocateId(), scene);
    loader->LoadScene((name + ".vxk").c_str());
    scene->Prepare();
  }
  template <class T = Group>
  T* node(const std::string& name) const {
    for (Base* object : scene->objects)
      if (auto* group = dynamic_cast<T*>(object); group && group->name == name) return group;
    return nullptr;
  }
  static VertexBuffer* vertices(Group* holder) {
    Mesh* mesh = holder ? holder->meshRef.as<Mesh>() : nullptr;
    return mesh ? mesh->vertexBufferRef.as<VertexBuffer>() : nullptr;
  }
  // A point p (row vector) through a node's world matrix.
  static D3DXVECTOR3 toWorld(const Group& node, const D3DXVECTOR3& p) {
    D3DXVECTOR3 out;
    D3DXVec3TransformCoord(&out, &p, &node.world);
    return out;
  }
  // Where the active camera puts a world point on screen: x, y in -1 ... 1
  // (y up), and the depth in view space (positive: in front).
  D3DXVECTOR3 onScreen(const D3DXVECTOR3& world) const {
    const Camera& camera = *scene->activeCamera;
    D3DXVECTOR3 view, clip;
    D3DXVec3TransformCoord(&view, &world, &camera.view);
    D3DXVec3TransformCoord(&clip, &view, &camera.projection);
    return D3DXVECTOR3(clip.x, clip.y, view.z);
  }
};
