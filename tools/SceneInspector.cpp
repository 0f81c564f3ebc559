#include "tools/SceneInspector.h"

#include "archive/CFLArchive.h"
#include "platform/gfx/recording/RecordingDevice.h"
#include "platform/os/MessageBox.h"
#include "platform/os/Process.h"
#include "render/DefaultProcessor.h"
#include "render/GlowProcessor.h"
#include "render/IndexBuffer.h"
#include "render/Processor.h"
#include "render/VertexBuffer.h"
#include "scene/Camera.h"
#include "scene/CameraActivatorController.h"
#include "scene/KeyframeFloatController.h"
#include "scene/KeyframePRSController.h"
#include "scene/Light.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "scene/SceneGraph.h"
#include "scene/SceneLoader.h"
#include "scene/ShakeController.h"
#include "scene/Sprite.h"
#include "scene/Texture.h"
#include "scene/VertexController.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <set>
#include <vector>

namespace {

// Compact JSON text; commas are placed by the writer.
class JsonWriter {
 public:
  JsonWriter& open(char bracket) {
    separate();
    m_text += bracket;
    m_first.push_back(true);
    return *this;
  }
  JsonWriter& close(char bracket) {
    m_text += bracket;
    m_first.pop_back();
    return *this;
  }
  JsonWriter& key(const char* name) {
    separate();
    quoted(name);
    m_text += ':';
    m_afterKey = true;
    return *this;
  }
  JsonWriter& number(double v) {
    separate();
    if (!std::isfinite(v)) {
      m_text += "null";
    } else {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "%.9g", v);
      m_text += buffer;
    }
    return *this;
  }
  JsonWriter& integer(long long v) {
    separate();
    m_text += std::to_string(v);
    return *this;
  }
  JsonWriter& boolean(bool v) {
    separate();
    m_text += v ? "true" : "false";
    return *this;
  }
  JsonWriter& null() {
    separate();
    m_text += "null";
    return *this;
  }
  JsonWriter& string(const std::string& text) {
    separate();
    quoted(text);
    return *this;
  }
  // A scene id, or null for -1.
  JsonWriter& id(std::int64_t sceneId) { return sceneId < 0 ? null() : integer(sceneId); }
  JsonWriter& floats(const float* values, int count) {
    open('[');
    for (int i = 0; i < count; ++i) number(values[i]);
    return close(']');
  }
  const std::string& text() const { return m_text; }

 private:
  void separate() {
    if (m_afterKey) {
      m_afterKey = false;
      return;
    }
    if (!m_first.empty()) {
      if (!m_first.back()) m_text += ',';
      m_first.back() = false;
    }
  }
  void quoted(const std::string& text) {
    m_text += '"';
    for (unsigned char c : text) {
      if (c == '"' || c == '\\') {
        m_text += '\\';
        m_text += char(c);
      } else if (c < 0x20 || c >= 0x7F) {
        // Names are 8-bit text of unknown code page: every byte outside
        // printable ASCII is kept as the code point of the same value.
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", c);
        m_text += escape;
      } else {
        m_text += char(c);
      }
    }
    m_text += '"';
  }

  std::string m_text;
  std::vector<bool> m_first;
  bool m_afterKey = false;
};

std::int64_t idOf(const Base* object) { return object ? std::int64_t(object->id) : -1; }
std::int64_t idOfField(const Preparable* object) { return idOf(dynamic_cast<const Base*>(object)); }

const char* className(const Base* object) {
  if (dynamic_cast<const VXKSceneLoader*>(object)) return "VXKSceneLoader";
  if (dynamic_cast<const Camera*>(object)) return "Camera";
  if (dynamic_cast<const Light*>(object)) return "Light";
  if (dynamic_cast<const Group*>(object)) return "Group";
  if (dynamic_cast<const Mesh*>(object)) return "Mesh";
  if (dynamic_cast<const SubMesh*>(object)) return "SubMesh";
  if (dynamic_cast<const Material*>(object)) return "Material";
  if (dynamic_cast<const AnimatedTexture*>(object)) return "AnimatedTexture";
  if (dynamic_cast<const Texture*>(object)) return "Texture";
  if (dynamic_cast<const MultiVertexBuffer*>(object)) return "MultiVertexBuffer";
  if (dynamic_cast<const VertexBuffer*>(object)) return "VertexBuffer";
  if (dynamic_cast<const IndexBuffer*>(object)) return "IndexBuffer";
  if (dynamic_cast<const SpriteCloud*>(object)) return "SpriteCloud";
  if (dynamic_cast<const Sprite*>(object)) return "Sprite";
  if (dynamic_cast<const GlowProcessor*>(object)) return "GlowProcessor";
  if (dynamic_cast<const DefaultProcessor*>(object)) return "DefaultProcessor";
  if (dynamic_cast<const Processor*>(object)) return "Processor";
  return "Base";
}

void nodeFields(JsonWriter& j, Group& node) {
  j.key("name").string(node.name);
  j.key("parent").id(node.parentRef.id);
  j.key("prs").floats(&node.prs.position.x, 10);
  j.key("world").floats(&node.world._11, 16);
  j.key("visibility").number(node.visibility);
  j.key("mesh").id(node.meshRef.id);
  j.key("sprite").id(idOf(static_cast<const Base*>(node.sprite)));
  j.key("children").open('[');
  for (const Group* child : node.children) j.id(idOf(static_cast<const Base*>(child)));
  j.close(']');
  j.key("boundSq").number(node.boundSq);
  j.key("configText").string(node.configText);
  j.key("flags").open('[').boolean(node.flag1).boolean(node.flag2).close(']');
  if (auto* camera = dynamic_cast<Camera*>(&node)) {
    j.key("fov").number(camera->fov);
    j.key("aspect").number(camera->aspect);
    j.key("nearClip").number(camera->nearClip);
    j.key("farClip").number(camera->farClip);
    j.key("fogEnabled").boolean(camera->fogEnabled);
    j.key("fogColor").floats(camera->fogColor, 4);
    j.key("active").boolean(camera->active);
  }
  if (auto* light = dynamic_cast<Light*>(&node)) {
    j.key("type").integer(light->d3dLight.Type);
    j.key("range").number(light->d3dLight.Range);
    j.key("attenuation").open('[');
    j.number(light->d3dLight.Attenuation0).number(light->d3dLight.Attenuation1).number(light->d3dLight.Attenuation2);
    j.close(']');
    j.key("color").floats(light->color, 4);
    j.key("intensity").number(light->intensity);
    j.key("hotspot").number(light->hotspot);
    j.key("falloffAngle").number(light->falloffAngle);
    j.key("shadowFlag").boolean(light->shadowFlag);
    j.key("shadowColor").floats(light->shadowColor, 4);
  }
}

void objectFields(JsonWriter& j, Base* object) {
  if (auto* loader = dynamic_cast<VXKSceneLoader*>(object)) {
    j.key("fileName").string(loader->fileName);
    j.key("parentId").id(loader->parentId);
    j.key("animOffset").number(loader->animOffset);
    j.key("animScale").number(loader->animScale);
    j.key("looping").boolean(loader->looping);
  } else if (auto* node = dynamic_cast<Group*>(object)) {
    nodeFields(j, *node);
  } else if (auto* mesh = dynamic_cast<Mesh*>(object)) {
    j.key("vertexBuffer").id(mesh->vertexBufferRef.id);
    j.key("indexBuffer").id(mesh->indexBufferRef.id);
    j.key("submeshes").open('[');
    for (const SubMesh* sub : mesh->submeshes) j.id(idOf(sub));
    j.close(']');
    j.key("boundValue").number(mesh->boundValue);
  } else if (auto* sub = dynamic_cast<SubMesh*>(object)) {
    j.key("mesh").id(idOf(static_cast<const Base*>(sub->mesh)));
    j.key("material").id(sub->materialRef.id);
    j.key("firstTriangle").integer(sub->firstTriangle);
    j.key("startIndex").integer(sub->startIndex);
    j.key("indexCount").integer(sub->indexCount);
  } else if (auto* material = dynamic_cast<Material*>(object)) {
    j.key("diffuseColor").floats(material->diffuseColor, 4);
    j.key("specularColor").floats(material->specularColor, 4);
    j.key("ambientColor").floats(material->ambientColor, 4);
    j.key("specularLevel").number(material->specularLevel);
    j.key("selfIllumination").number(material->selfIllumination);
    j.key("opacity").number(material->opacity);
    j.key("blendMode").integer(material->blendMode);
    j.key("diffuseMap").id(material->diffuseMap.id);
    j.key("sphereMap").id(material->sphereMap.id);
    j.key("specularMap").id(material->specularMap.id);
    j.key("modulateMap").id(material->modulateMap.id);
    j.key("lightMap").id(material->lightMap.id);
    j.key("normalMap").id(material->normalMap.id);
  } else if (auto* texture = dynamic_cast<Texture*>(object)) {
    j.key("name").string(texture->name);
    j.key("hasAlpha").boolean(texture->hasAlpha());
    if (auto* animated = dynamic_cast<AnimatedTexture*>(texture)) {
      j.key("imageCount").integer(std::int64_t(animated->images.size()));
      j.key("activeImage").number(animated->activeImage);
      j.key("currentImage").integer(animated->currentImage);
    }
  } else if (auto* vertices = dynamic_cast<VertexBuffer*>(object)) {
    auto* multi = dynamic_cast<MultiVertexBuffer*>(vertices);
    j.key("vertexCount").integer(vertices->vertexCount);
    j.key("frameCount").integer(multi ? std::int64_t(multi->frames.size()) : 1);
    j.key("triangleCount").integer(vertices->triangleCount);
  } else if (auto* indices = dynamic_cast<IndexBuffer*>(object)) {
    j.key("triangleCount").integer(indices->triangleCount);
  } else if (auto* sprite = dynamic_cast<Sprite*>(object)) {
    j.key("size").number(sprite->size);
    j.key("texture").id(sprite->textureRef.id);
    j.key("drawnInGlowPass").boolean(sprite->drawnInGlowPass);
    j.key("blendMode").integer(sprite->blendMode);
    if (auto* cloud = dynamic_cast<SpriteCloud*>(sprite)) {
      j.key("count").integer(cloud->count);
      j.key("halfExtent").floats(cloud->halfExtent, 3);
      j.key("concentration").number(cloud->concentration);
      j.key("sizeFalloff").number(cloud->sizeFalloff);
      j.key("brightness").number(cloud->brightness);
      j.key("brightnessFalloff").number(cloud->brightnessFalloff);
    }
  }
}

void controllerFields(JsonWriter& j, Controller* controller) {
  if (auto* f = dynamic_cast<KeyframeFloatController*>(controller)) {
    j.key("class").string("KeyframeFloatController");
    j.key("target").id(idOfField(f->target));
    j.key("looping").boolean(f->looping);
    j.key("keys").open('[');
    for (const KeyFloat& k : f->keys) j.open('[').number(k.time).number(k.value).close(']');
    j.close(']');
    j.key("current").number(f->field ? *f->field : NAN);
  } else if (auto* p = dynamic_cast<KeyframePRSController*>(controller)) {
    j.key("class").string("KeyframePRSController");
    j.key("target").id(idOf(static_cast<const Base*>(p->target)));
    j.key("looping").boolean(p->looping);
    j.key("keys").open('[');
    for (const KeyPRS& k : p->keys) j.open('{').key("time").number(k.time).key("prs").floats(&k.prs.position.x, 10).close('}');
    j.close(']');
  } else if (auto* a = dynamic_cast<CameraActivatorController*>(controller)) {
    j.key("class").string("CameraActivatorController");
    j.key("target").id(idOf(static_cast<const Base*>(a->camera)));
    j.key("looping").boolean(a->looping);
    j.key("times").open('[');
    for (std::uint32_t t : a->times) j.integer(t);
    j.close(']');
    j.key("loopLength").integer(a->loopLength);
  } else if (auto* v = dynamic_cast<VertexController*>(controller)) {
    j.key("class").string("VertexController");
    j.key("target").id(idOf(v->target));
    j.key("looping").boolean(v->looping);
    j.key("loopLength").integer(v->loopLength);
    j.key("startTime").integer(v->startTime);
    j.key("endTime").integer(v->endTime);
  } else if (auto* s = dynamic_cast<ShakeController*>(controller)) {
    j.key("class").string("ShakeController");
    j.key("target").id(idOf(static_cast<const Base*>(s->target)));
    j.key("looping").boolean(false);
    j.key("active").boolean(s->active);
  } else {
    j.key("class").string("Controller");
    j.key("target").null();
    j.key("looping").boolean(false);
  }
}

// --- Readable tree ----------------------------------------------------------

std::string format(const char* pattern, double a = 0, double b = 0, double c = 0) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, pattern, a, b, c);
  return buffer;
}

void describeNode(std::string& out, Group& node, int depth, std::set<const Group*>& seen) {
  out += std::string(std::size_t(depth) * 2, ' ');
  out += std::string(className(&node)) + " \"" + node.name + "\" #" + std::to_string(node.id);
  out += format("  at (%g, %g, %g)", node.world._41, node.world._42, node.world._43);
  if (node.visibility != 1.0f) out += format("  visibility %g", node.visibility);
  if (auto* camera = dynamic_cast<Camera*>(&node))
    out += format("  fov %g, clip %g..%g", camera->fov, camera->nearClip, camera->farClip) +
           (camera->active ? "  (active)" : "");
  if (auto* light = dynamic_cast<Light*>(&node)) out += format("  range %g, intensity %g", light->d3dLight.Range, light->intensity);
  if (Mesh* mesh = node.meshRef.as<Mesh>()) {
    out += "  mesh #" + std::to_string(mesh->id) + " (" + std::to_string(mesh->submeshes.size()) + " submeshes";
    if (auto* vb = mesh->vertexBufferRef.as<VertexBuffer>())
      out += ", " + std::to_string(vb->vertexCount) + " vertices, " + std::to_string(vb->triangleCount) + " triangles";
    out += ")";
  }
  if (node.sprite) out += std::string("  ") + className(node.sprite) + " #" + std::to_string(node.sprite->id);
  out += '\n';
  if (!seen.insert(&node).second) return;  // a parent loop in a damaged file
  for (Group* child : node.children) describeNode(out, *child, depth + 1, seen);
}

// Process-exit and message-box hooks of one inspection: the player's fatal
// paths become a C++ exception carrying the last message shown. MessageBoxA's
// echo is off meanwhile and a box is held until the next one or the end: one
// the scene got past is printed then, the fatal one only as the command's
// error, so that every message is one line on standard error.
struct InspectFatal {
  unsigned code;
};
std::string g_lastBox;
void printHeldBox() {
  if (g_lastBox.empty()) return;
  std::fprintf(stderr, "vxtool: %s\n", g_lastBox.c_str());
  g_lastBox.clear();
}
int rememberBox(const char* text, const char* caption, UINT) {
  printHeldBox();
  g_lastBox = std::string(caption ? caption : "") + ": " + (text ? text : "");
  return IDOK;
}
[[noreturn]] void throwFatal(UINT code) { throw InspectFatal{code}; }

}  // namespace

std::string sceneJson(SceneGraph& scene) {
  JsonWriter j;
  j.open('{');
  j.key("root").id(idOf(static_cast<const Base*>(scene.root)));
  j.key("skybox").id(idOf(static_cast<const Base*>(scene.skybox)));
  j.key("activeCamera").id(idOf(static_cast<const Base*>(scene.activeCamera)));
  j.key("ambient").floats(scene.ambientColor, 4);
  j.key("objects").open('[');
  for (Base* object : scene.objects) {
    j.open('{').key("id").integer(object->id).key("class").string(className(object));
    objectFields(j, object);
    j.close('}');
  }
  j.close(']');
  j.key("controllers").open('[');
  for (Controller* controller : scene.controllers) {
    j.open('{');
    controllerFields(j, controller);
    j.close('}');
  }
  j.close(']');
  j.close('}');
  return j.text() + "\n";
}

std::string sceneTree(SceneGraph& scene) {
  std::string out = std::to_string(scene.objects.size()) + " objects, " + std::to_string(scene.controllers.size()) +
                    " controllers; ambient " +
                    format("(%g, %g, %g", scene.ambientColor[0], scene.ambientColor[1], scene.ambientColor[2]) +
                    format(", %g)", scene.ambientColor[3]) + "\n";
  out += scene.activeCamera ? "active camera \"" + scene.activeCamera->name + "\" #" + std::to_string(scene.activeCamera->id) + "\n"
                            : "no camera\n";
  std::set<const Group*> seen;
  out += "root:\n";
  if (scene.root) describeNode(out, *scene.root, 1, seen);
  if (scene.skybox) {
    out += "skybox:\n";
    describeNode(out, *scene.skybox, 1, seen);
  }
  // Nodes whose parent could not be resolved hang nowhere and are not drawn.
  std::string detached;
  for (Base* object : scene.objects) {
    auto* node = dynamic_cast<Group*>(object);
    if (node && !seen.count(node) && !node->parentRef.as<Group>()) describeNode(detached, *node, 1, seen);
  }
  if (!detached.empty()) out += "not in the tree:\n" + detached;
  if (!scene.controllers.empty()) out += "controllers:\n";
  for (Controller* controller : scene.controllers) {
    JsonWriter j;
    j.open('{');
    controllerFields(j, controller);
    j.close('}');
    out += "  " + j.text() + "\n";
  }
  return out;
}

bool inspectScene(const InspectOptions& options, std::string* out, std::string* error) {
  auto archive = std::make_unique<CFLArchive>();
  if (!options.archive.empty() && !archive->Open(options.archive.c_str()))
    return *error = "cannot open archive '" + options.archive + "'", false;
  CFLArchive* previousArchive = g_archive;
  g_archive = archive.get();
  g_lastBox.clear();
  SetMessageBoxHook(rememberBox);
  SetMessageBoxEcho(false);
  SetExitProcessHook(throwFatal);

  RecordingDevice* device = RecordingDevice::createOffscreen(800, 600);
  bool ok = true;
  {
    SceneGraph scene(device);
    try {
      auto* loader = new VXKSceneLoader(scene.AllocateId(), &scene);  // owned by the scene
      loader->LoadScene(options.scene.c_str());
      scene.Prepare();
      if (options.timeMs) scene.SetTime(float(*options.timeMs));
      *out = options.json ? sceneJson(scene) : sceneTree(scene);
    } catch (const InspectFatal&) {
      *error = g_lastBox.empty() ? "the scene could not be loaded" : g_lastBox;
      g_lastBox.clear();
      ok = false;
    }
  }
  device->Release();
  printHeldBox();
  SetExitProcessHook(nullptr);
  SetMessageBoxEcho(true);
  SetMessageBoxHook(nullptr);
  g_archive = previousArchive;
  return ok;
}
