#include "scene/Sprite.h"

#include "platform/d3dx/D3DXMath.h"
#include "platform/os/Process.h"
#include "render/StateCache.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The process-wide generator state (see sceneRand).
std::uint32_t g_randState = 1;

// rand() × this maps 0..32767 to 0..~1.0 (1 / 32767 as written by the
// content tools; it is not 1 / 32768).
constexpr float kRandScale = 3.051851e-05f;
constexpr float kOneThird = 0.33333334f;

constexpr int kVerticesPerParticle = 6;
constexpr std::uint32_t kBytesPerParticle = kVerticesPerParticle * sizeof(ParticleVertex);  // 168

// Two triangles of one square: the shader offsets each corner by
// size × (u − 0.5) across and size × (0.5 − v) up.
constexpr float kCornerUV[kVerticesPerParticle][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}};

// p²/h² for one axis; a flat axis (h = 0) holds every particle at 0 on it
// and adds nothing, rather than 0/0.
float axisTerm(float p, float h) { return h != 0.0f ? (p * p) / (h * h) : 0.0f; }

}  // namespace

int sceneRand() {
  g_randState = g_randState * 214013u + 2531011u;
  return static_cast<int>((g_randState >> 16) & 0x7FFF);
}

void sceneRandReset(std::uint32_t state) { g_randState = state; }

// ---------------------------------------------------------------------------
// Sprite

Sprite::Sprite(std::uint32_t objectId, SceneGraph* owner) : Base(objectId, owner), textureRef(owner) {}

float* Sprite::getControlField(const char* field) {
  if (field != nullptr && std::strcmp(field, "Size") == 0) return &size;
  FatalMessage("Error", 0, "Sprite: Invalid control field!");
}

float Sprite::boundValue() const { return size * size * 0.25f; }

bool SpriteComesBefore(const Sprite* a, const Sprite* b) {
  if (a->isCloud() != b->isCloud()) return a->isCloud();
  return static_cast<std::uint32_t>(a->textureRef.id) < static_cast<std::uint32_t>(b->textureRef.id);
}

// ---------------------------------------------------------------------------
// SpriteCloud

SpriteCloud::~SpriteCloud() {
  if (vertexBuffer != nullptr) vertexBuffer->Release();
  vertexBuffer = nullptr;
}

float SpriteCloud::boundValue() const {
  return halfExtent[0] * halfExtent[0] + halfExtent[1] * halfExtent[1] + halfExtent[2] * halfExtent[2];
}

// Particles scatter inside the ellipsoid with semi-axes halfExtent: a random
// direction (a random rotation applied to +x) and a radius ρ in 0..1 that
// gathers toward the centre as concentration grows (ρ = u^(1/3) alone fills
// the volume uniformly). Brightness and size fall off with e = d², d being
// the particle's squared normalised distance (0 centre, 1 surface).
// A cloud of no particles, one of more than kMaxParticles (a damaged file:
// hand-made clouds hold thousands, and a million already takes 168 MiB of
// vertices), or one whose buffer cannot be created or locked keeps no
// buffer and is never drawn.
void SpriteCloud::link() {
  constexpr std::uint32_t kMaxParticles = 1u << 20;
  if (vertexBuffer != nullptr || count == 0) return;
  const std::uint64_t length = std::uint64_t(count) * kBytesPerParticle;
  if (count > kMaxParticles) {
    OutputDebugStringA("SpriteCloud: too many particles for one vertex buffer\n");
    return;
  }

  IDirect3DDevice9* device = stateCache->device;
  IDirect3DVertexBuffer9* buffer = nullptr;
  if (FAILED(device->CreateVertexBuffer(UINT(length), D3DUSAGE_WRITEONLY, kParticleFVF, D3DPOOL_DEFAULT, &buffer,
                                        nullptr)) ||
      buffer == nullptr) {
    OutputDebugStringA("SpriteCloud: vertex buffer creation failed\n");
    return;
  }
  void* data = nullptr;
  if (FAILED(buffer->Lock(0, 0, &data, 0)) || data == nullptr) {
    OutputDebugStringA("SpriteCloud: vertex buffer lock failed\n");
    buffer->Release();
    return;
  }

  auto* vertex = static_cast<ParticleVertex*>(data);
  const float exponent = concentration * 10.0f + 1.0f;
  for (std::uint32_t i = 0; i < count; ++i) {
    D3DXQUATERNION q;
    q.x = (float(sceneRand()) * kRandScale - 0.5f) * 2.0f;
    q.y = (float(sceneRand()) * kRandScale - 0.5f) * 2.0f;
    q.z = (float(sceneRand()) * kRandScale - 0.5f) * 2.0f;
    q.w = (float(sceneRand()) * kRandScale - 0.5f) * 2.0f;
    if (std::fabs(q.x) + std::fabs(q.y) + std::fabs(q.z) + std::fabs(q.w) == 0.0f) q.w = 1.0f;
    D3DXQuaternionNormalize(&q, &q);

    const float u = float(sceneRand()) * kRandScale;
    const float rho = std::pow(std::pow(u, kOneThird), exponent);

    D3DXMATRIX rotation;
    D3DXMatrixRotationQuaternion(&rotation, &q);
    const D3DXVECTOR3 radial(rho, 0.0f, 0.0f);
    D3DXVECTOR3 v;
    D3DXVec3TransformNormal(&v, &radial, &rotation);

    const D3DXVECTOR3 p(v.x * halfExtent[0], v.y * halfExtent[1], v.z * halfExtent[2]);
    const float d = axisTerm(p.x, halfExtent[0]) + axisTerm(p.y, halfExtent[1]) + axisTerm(p.z, halfExtent[2]);
    const float e = d * d;

    const float k = (1.0f - std::min(e * brightnessFalloff, 1.0f)) * brightness;
    const DWORD b = ColorChannelByte(k);
    const D3DCOLOR color = D3DCOLOR_ARGB(255, b, b, b);
    const float pointSize = size * (1.0f - std::min(e * sizeFalloff, 1.0f));

    for (int corner = 0; corner < kVerticesPerParticle; ++corner, ++vertex) {
      *vertex = ParticleVertex{p.x, p.y, p.z, pointSize, color, kCornerUV[corner][0], kCornerUV[corner][1]};
    }
  }
  buffer->Unlock();
  vertexBuffer = buffer;
}
