// Sprites and sprite clouds: bounds, the particle generator against known
// seeds, the cloud's vertex buffer, and the draw order.
#include "platform/gfx/recording/RecordingResources.h"
#include "scene/Sprite.h"
#include "tests/scene/SceneTestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

struct CloudShape {
  std::uint32_t count = 8;
  float halfExtent[3] = {2.0f, 1.0f, 0.5f};
  float concentration = 0.3f;
  float size = 2.0f;
  float sizeFalloff = 0.5f;
  float brightness = 0.8f;
  float brightnessFalloff = 0.5f;
};

// The first particle of a cloud linked right after the generator was reset,
// worked out from the documented recipe with the rotation's first row
// written out (D3DX quaternion convention, row vectors) instead of taken
// from the matrix helpers.
struct Particle {
  float x, y, z, size;
  D3DCOLOR color;
};
Particle firstParticle(const CloudShape& s) {
  const int r[5] = {41, 18467, 6334, 26500, 19169};  // the generator's first five values from state 1
  float q[4];
  for (int i = 0; i < 4; ++i) q[i] = (float(r[i]) * 3.051851e-05f - 0.5f) * 2.0f;
  const float length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  for (float& c : q) c /= length;
  const float x = q[0], y = q[1], z = q[2], w = q[3];
  const float row[3] = {1 - 2 * (y * y + z * z), 2 * (x * y + z * w), 2 * (x * z - y * w)};
  const float rho = std::pow(std::pow(float(r[4]) * 3.051851e-05f, 0.33333334f), s.concentration * 10.0f + 1.0f);
  Particle p{};
  p.x = rho * row[0] * s.halfExtent[0];
  p.y = rho * row[1] * s.halfExtent[1];
  p.z = rho * row[2] * s.halfExtent[2];
  const float d = p.x * p.x / (s.halfExtent[0] * s.halfExtent[0]) + p.y * p.y / (s.halfExtent[1] * s.halfExtent[1]) +
                  p.z * p.z / (s.halfExtent[2] * s.halfExtent[2]);
  const float e = d * d;
  const double k = (1.0 - std::min(e * s.brightnessFalloff, 1.0f)) * s.brightness;
  const unsigned b = k >= 1.0 ? 255u : k <= 0.0 ? 0u : unsigned(k * 255.0 + 0.5);
  p.color = D3DCOLOR_ARGB(255, b, b, b);
  p.size = s.size * (1.0f - std::min(e * s.sizeFalloff, 1.0f));
  return p;
}

class SpriteTest : public SceneTest {
 protected:
  Sprite* makeSprite(float size, std::int32_t textureId = -1) {
    auto* sprite = new Sprite(scene->AllocateId(), scene);
    sprite->size = size;
    sprite->textureRef.id = textureId;
    return sprite;
  }
  SpriteCloud* makeCloud(const CloudShape& s, std::int32_t textureId = -1) {
    auto* cloud = new SpriteCloud(scene->AllocateId(), scene);
    cloud->count = s.count;
    std::copy(s.halfExtent, s.halfExtent + 3, cloud->halfExtent);
    cloud->concentration = s.concentration;
    cloud->size = s.size;
    cloud->sizeFalloff = s.sizeFalloff;
    cloud->brightness = s.brightness;
    cloud->brightnessFalloff = s.brightnessFalloff;
    cloud->textureRef.id = textureId;
    return cloud;
  }
  SpriteCloud* linkedCloud(const CloudShape& s) {
    SpriteCloud* cloud = makeCloud(s);
    sceneRandReset();
    cloud->link();
    return cloud;
  }
  // The cloud's vertices as the device holds them.
  static std::vector<ParticleVertex> vertices(SpriteCloud* cloud) {
    auto* buffer = dynamic_cast<RecordingVertexBuffer*>(cloud->vertexBuffer);
    if (buffer == nullptr) return {};
    EXPECT_EQ(buffer->memory().lockCount(), 0) << "left locked";
    const auto* first = reinterpret_cast<const ParticleVertex*>(buffer->memory().bytes());
    return {first, first + buffer->memory().size() / sizeof(ParticleVertex)};
  }
};

TEST_F(SpriteTest, BoundValuesAreTheSquaredRadii) {
  EXPECT_EQ(makeSprite(4.0f)->boundValue(), 4.0f);
  EXPECT_EQ(makeSprite(0.0f)->boundValue(), 0.0f);
  CloudShape shape;
  shape.halfExtent[0] = 1.0f;
  shape.halfExtent[1] = 2.0f;
  shape.halfExtent[2] = 3.0f;
  SpriteCloud* cloud = makeCloud(shape);
  EXPECT_EQ(cloud->boundValue(), 14.0f) << "the extents, not the size";
  EXPECT_TRUE(cloud->isCloud());
  EXPECT_FALSE(makeSprite(1.0f)->isCloud());
}

TEST_F(SpriteTest, CloudFillsOneWriteOnlyBufferWithSixCornersPerParticle) {
  const CloudShape shape;
  const std::size_t mark = device->log().mark();
  SpriteCloud* cloud = linkedCloud(shape);
  ASSERT_NE(cloud->vertexBuffer, nullptr);

  const auto creates = device->log().named("CreateVertexBuffer", mark);
  ASSERT_EQ(creates.size(), 1u);
  EXPECT_EQ(creates[0]->raw(0), shape.count * 168u);
  EXPECT_EQ(creates[0]->raw(1), D3DUSAGE_WRITEONLY);
  EXPECT_EQ(creates[0]->raw(2), 0x162u);
  EXPECT_EQ(creates[0]->raw(3), D3DPOOL_DEFAULT);
  EXPECT_EQ(device->log().count("Lock", mark), 1u);
  EXPECT_EQ(device->log().count("Unlock", mark), 1u);

  const std::vector<ParticleVertex> v = vertices(cloud);
  ASSERT_EQ(v.size(), shape.count * 6u);
  const float uv[6][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}};
  for (std::size_t i = 0; i < v.size(); ++i) {
    const ParticleVertex& corner = v[i];
    const ParticleVertex& first = v[i - i % 6];
    EXPECT_EQ(corner.u, uv[i % 6][0]) << i;
    EXPECT_EQ(corner.v, uv[i % 6][1]) << i;
    EXPECT_TRUE(corner.x == first.x && corner.y == first.y && corner.z == first.z && corner.size == first.size &&
                corner.color == first.color)
        << "corner " << i << " differs from its particle";
    const float d = corner.x * corner.x / 4.0f + corner.y * corner.y + corner.z * corner.z / 0.25f;
    EXPECT_LE(d, 1.0001f) << "particle " << i / 6 << " outside the ellipsoid";
  }

  const Particle expected = firstParticle(shape);
  EXPECT_NEAR(v[0].x, expected.x, 1e-5f);
  EXPECT_NEAR(v[0].y, expected.y, 1e-5f);
  EXPECT_NEAR(v[0].z, expected.z, 1e-5f);
  EXPECT_NEAR(v[0].size, expected.size, 1e-5f);
  EXPECT_EQ(v[0].color, expected.color);
}

TEST_F(SpriteTest, CloudsContinueTheOneGeneratorInLinkOrder) {
  sceneRandReset();
  std::vector<int> got;
  for (int i = 0; i < 5; ++i) got.push_back(sceneRand());
  EXPECT_EQ(got, (std::vector<int>{41, 18467, 6334, 26500, 19169}));

  CloudShape shape;
  shape.count = 3;
  const std::vector<ParticleVertex> first = vertices(linkedCloud(shape));
  SpriteCloud* next = makeCloud(shape);
  next->link();  // no reset: continues where the first cloud stopped
  const std::vector<ParticleVertex> again = vertices(linkedCloud(shape));
  ASSERT_EQ(first.size(), 18u);
  EXPECT_EQ(std::memcmp(first.data(), again.data(), first.size() * sizeof(ParticleVertex)), 0)
      << "the same generator state must give the same cloud";
  EXPECT_NE(vertices(next)[0].x, first[0].x);
}

TEST_F(SpriteTest, BrightnessWithoutFalloffColoursEveryParticleAlike) {
  struct Case {
    float brightness;
    D3DCOLOR color;
  };
  for (const Case& c : {Case{1.0f, 0xFFFFFFFF}, Case{2.5f, 0xFFFFFFFF}, Case{0.5f, 0xFF808080},
                        Case{0.0f, 0xFF000000}, Case{-1.0f, 0xFF000000}}) {
    CloudShape shape;
    shape.brightness = c.brightness;
    shape.brightnessFalloff = 0.0f;
    for (const ParticleVertex& vertex : vertices(linkedCloud(shape))) ASSERT_EQ(vertex.color, c.color) << c.brightness;
  }
}

TEST_F(SpriteTest, FullFalloffMakesSurfaceParticlesBlackAndSizeless) {
  CloudShape shape;
  shape.count = 20;
  // concentration −0.1 makes the radius exponent 0: every particle lies on
  // the surface (ρ = 1).
  shape.concentration = -0.1f;
  shape.brightness = 1.0f;
  shape.brightnessFalloff = 1.0f;
  shape.sizeFalloff = 1.0f;
  shape.size = 3.0f;
  for (const ParticleVertex& vertex : vertices(linkedCloud(shape))) {
    const float d = vertex.x * vertex.x / 4.0f + vertex.y * vertex.y + vertex.z * vertex.z / 0.25f;
    ASSERT_NEAR(d, 1.0f, 1e-5f);
    EXPECT_EQ(vertex.color, 0xFF000000u);
    EXPECT_NEAR(vertex.size, 0.0f, 1e-5f);
  }

  // At the centre nothing falls off.
  shape.concentration = 0.0f;
  shape.halfExtent[0] = shape.halfExtent[1] = shape.halfExtent[2] = 1.0f;
  const std::vector<ParticleVertex> cloud = vertices(linkedCloud(shape));
  const ParticleVertex* innermost = &*std::min_element(cloud.begin(), cloud.end(), [](auto& a, auto& b) {
    return a.x * a.x + a.y * a.y + a.z * a.z < b.x * b.x + b.y * b.y + b.z * b.z;
  });
  EXPECT_GT(innermost->size, 0.0f);
  EXPECT_GT(innermost->color & 0xFF, 0u);
}

TEST_F(SpriteTest, FlatCloudHasNoNanAndStaysInItsPlane) {
  CloudShape shape;
  shape.halfExtent[1] = 0.0f;
  shape.sizeFalloff = 1.0f;
  shape.brightnessFalloff = 1.0f;
  for (const ParticleVertex& vertex : vertices(linkedCloud(shape))) {
    EXPECT_EQ(vertex.y, 0.0f);
    EXPECT_FALSE(std::isnan(vertex.x) || std::isnan(vertex.z) || std::isnan(vertex.size));
    EXPECT_GE(vertex.size, 0.0f);
  }
}

TEST_F(SpriteTest, CloudWithoutParticlesOrBufferIsLeftEmptyAndNeverLocked) {
  CloudShape empty;
  empty.count = 0;
  const std::size_t mark = device->log().mark();
  SpriteCloud* none = linkedCloud(empty);
  EXPECT_EQ(none->vertexBuffer, nullptr);
  EXPECT_EQ(device->log().count("CreateVertexBuffer", mark), 0u);

  // A damaged file's count: more particles than any hand-made cloud.
  CloudShape huge;
  huge.count = (1u << 20) + 1;
  EXPECT_EQ(linkedCloud(huge)->vertexBuffer, nullptr);
  EXPECT_EQ(device->log().count("CreateVertexBuffer", mark), 0u);

  device->failCreation(E_OUTOFMEMORY, 1, "CreateVertexBuffer");
  SpriteCloud* failed = linkedCloud(CloudShape{});
  EXPECT_EQ(failed->vertexBuffer, nullptr);
  EXPECT_EQ(device->log().count("CreateVertexBuffer", mark), 1u);
  EXPECT_EQ(device->log().count("Lock", mark), 0u);

  // Later clouds are unaffected.
  EXPECT_NE(linkedCloud(CloudShape{})->vertexBuffer, nullptr);
}

TEST_F(SpriteTest, CloudsComeFirstThenTextureIdsAscendingUnsigned) {
  Sprite* plain = makeSprite(1.0f, 0);
  Sprite* untextured = makeSprite(1.0f, -1);  // 0xFFFFFFFF: last of the plain sprites
  Sprite* cloudB = makeCloud(CloudShape{}, 9);
  Sprite* cloudA = makeCloud(CloudShape{}, 3);
  Sprite* plainB = makeSprite(1.0f, 7);
  std::vector<Sprite*> order = {untextured, plain, cloudB, plainB, cloudA};
  std::sort(order.begin(), order.end(), SpriteComesBefore);
  EXPECT_EQ(order, (std::vector<Sprite*>{cloudA, cloudB, plain, plainB, untextured}));
  EXPECT_FALSE(SpriteComesBefore(cloudA, cloudA));
  EXPECT_FALSE(SpriteComesBefore(plain, cloudB));
}

}  // namespace
