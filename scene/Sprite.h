#pragma once
// A camera-facing textured square drawn at its node's position; a
// SpriteCloud stands for many such squares scattered inside an ellipsoid,
// generated once into a vertex buffer when the scene is linked.
#include "platform/gfx/Device.h"
#include "scene/Base.h"
#include "scene/ObjectRef.h"
#include "scene/Preparable.h"

#include <cstdint>

class Sprite : public Preparable, public Base {
 public:
  Sprite(std::uint32_t id, SceneGraph* scene);

  void update(bool) override {}
  // "Size"; anything else is fatal ("Sprite: Invalid control field!").
  float* getControlField(const char* name) override;
  // Squared radius the owning node's bound uses: (size / 2)².
  virtual float boundValue() const;
  virtual bool isCloud() const { return false; }

  ObjectRef textureRef;
  float size = 0.0f;              // "Size": edge length
  bool drawnInGlowPass = false;
  int blendMode = 0;              // 0, 1 or 2 (read as one byte)
};

// Particle vertex: position, point size, ARGB colour, uv (28 bytes).
struct ParticleVertex {
  float x, y, z;
  float size;
  D3DCOLOR color;
  float u, v;
};
static_assert(sizeof(ParticleVertex) == 28, "particle vertex is 28 bytes");
constexpr DWORD kParticleFVF = 0x162;  // XYZ | PSIZE | DIFFUSE | TEX1

class SpriteCloud : public Sprite {
 public:
  SpriteCloud(std::uint32_t id, SceneGraph* scene) : Sprite(id, scene) {}
  // Releases the vertex buffer.
  ~SpriteCloud() override;

  // Generates the particles (six vertices each) with the process-wide
  // generator; a buffer that cannot be created stays null and is not drawn.
  void link() override;
  // halfExtent.x² + halfExtent.y² + halfExtent.z².
  float boundValue() const override;
  bool isCloud() const override { return true; }

  IDirect3DVertexBuffer9* vertexBuffer = nullptr;  // count × 6 vertices
  std::uint32_t count = 0;
  float concentration = 0.0f;     // 0 = uniform in volume
  float halfExtent[3] = {0, 0, 0};
  float sizeFalloff = 0.0f;
  float brightness = 0.0f;
  float brightnessFalloff = 0.0f;
};

// The draw order of sprites: clouds first, then by texture id (unsigned).
bool SpriteComesBefore(const Sprite* a, const Sprite* b);

// The process-wide particle generator: state s starts at 1 and is never
// reseeded; each call sets s = s × 214013 + 2531011 (mod 2³²) and returns
// (s >> 16) & 0x7FFF, 0..32767. Clouds therefore come out the same on every
// run, in the order they are linked.
int sceneRand();
void sceneRandReset(std::uint32_t state = 1);  // tests and tools only
