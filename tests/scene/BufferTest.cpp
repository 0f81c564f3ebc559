// Vertex and index buffers: bound values, adjacency and twins, the tangent
// frames, and what the uploads write into the device buffers.
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "tests/scene/SceneTestSupport.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();

// The rule the twin search must reproduce, as the plain loop over every
// pair a < b: float equality on x, y, z and equal smoothing keys.
std::vector<std::vector<std::uint32_t>> pairwiseTwins(const VertexBuffer& vb) {
  std::vector<std::vector<std::uint32_t>> twins(vb.vertexCount);
  for (std::uint32_t a = 0; a < vb.vertexCount; ++a) {
    for (std::uint32_t b = a + 1; b < vb.vertexCount; ++b) {
      const D3DXVECTOR3& pa = vb.vertexAt(a)->position;
      const D3DXVECTOR3& pb = vb.vertexAt(b)->position;
      if (pa.x == pb.x && pa.y == pb.y && pa.z == pb.z && vb.links[a].smoothingKey == vb.links[b].smoothingKey) {
        twins[a].push_back(b);
        twins[b].push_back(a);
      }
    }
  }
  return twins;
}

class BufferTest : public SceneTest {
 protected:
  VertexBuffer* vertexBuffer(const std::vector<D3DXVECTOR3>& positions) {
    auto* vb = new VertexBuffer(scene->AllocateId(), scene, std::uint32_t(positions.size()));
    for (std::uint32_t i = 0; i < positions.size(); ++i) vb->vertexAt(i)->position = positions[i];
    return vb;
  }
  IndexBuffer* indexBuffer(const std::vector<std::uint16_t>& indices) {
    auto* ib = new IndexBuffer(scene->AllocateId(), scene);
    ib->indices = indices;
    ib->triangleCount = std::uint32_t(indices.size() / 3);
    return ib;
  }
  static void setUv2(VertexBuffer* vb, std::uint32_t v, float s, float u) {
    vb->vertexAt(v)->uv2[0] = s;
    vb->vertexAt(v)->uv2[1] = u;
  }
};

TEST_F(BufferTest, BoundValueAddsTheSquaresOfTheLargestAbsoluteCoordinates) {
  EXPECT_FLOAT_EQ(vertexBuffer({{1, -3, 2}, {-2, 1, 0}})->BoundValue(), 17.0f);
  EXPECT_EQ(vertexBuffer({})->BoundValue(), 0.0f);
  EXPECT_FLOAT_EQ(vertexBuffer({{kNaN, 1, 0}, {-2, 0, 0}})->BoundValue(), 5.0f);  // NaN poisons nothing

  // A multi-frame buffer covers every frame but not the current vertices.
  auto* mvb = new MultiVertexBuffer(scene->AllocateId(), scene, 2, 3);
  ASSERT_EQ(mvb->frames.size(), 3u);
  for (const auto& frame : mvb->frames) EXPECT_EQ(frame, std::vector<float>(6, 0.0f));
  mvb->vertexAt(0)->position = D3DXVECTOR3(100, 100, 100);
  mvb->frames[0] = {1, 0, 0, 0, 0, 0};
  mvb->frames[2] = {0, 0, 0, 0, -4, 0};
  mvb->frames[1] = {0, 0, 0.5f, 0, 0, -3};
  EXPECT_FLOAT_EQ(mvb->BoundValue(), 1.0f + 16.0f + 9.0f);
  auto* noFrames = new MultiVertexBuffer(scene->AllocateId(), scene, 2, 0);
  noFrames->vertexAt(1)->position = D3DXVECTOR3(5, 5, 5);
  EXPECT_EQ(noFrames->BoundValue(), 0.0f);
}

TEST_F(BufferTest, AdjacencyListsEveryUseOfAVertexInTriangleOrder) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
  IndexBuffer* ib = indexBuffer({0, 1, 2, 3, 1, 3});  // vertex 3 named twice: listed twice
  for (int build = 0; build < 2; ++build) {  // building again replaces the lists
    vb->BuildAdjacency(*ib);
    ASSERT_EQ(vb->triangles.size(), 2u);
    TriangleFrame* t0 = &vb->triangles[0];
    TriangleFrame* t1 = &vb->triangles[1];
    EXPECT_EQ(vb->triangleCount, 2u);
    EXPECT_EQ(vb->triangles[1].index[2], 3u);
    EXPECT_EQ(vb->links[0].triangles, (std::vector<TriangleFrame*>{t0}));
    EXPECT_EQ(vb->links[1].triangles, (std::vector<TriangleFrame*>{t0, t1}));
    EXPECT_EQ(vb->links[3].triangles, (std::vector<TriangleFrame*>{t1, t1}));
  }
}

TEST_F(BufferTest, TwinsMatchThePairwiseRuleOnRandomMeshes) {
  // Signed zeros must pair, NaN never, neighbours one ulp apart never.
  const float pool[] = {0.0f, -0.0f, 1.0f, std::nextafter(1.0f, 2.0f), -1.0f, kNaN,
                        std::numeric_limits<float>::denorm_min(), 2.5f};
  for (unsigned seed = 1; seed <= 6; ++seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> pick(0, int(std::size(pool)) - 1);
    std::uniform_int_distribution<int> key(0, 2);
    const std::uint32_t n = 200 + seed * 40;
    auto* vb = new VertexBuffer(scene->AllocateId(), scene, n);
    for (std::uint32_t v = 0; v < n; ++v) {
      vb->vertexAt(v)->position = D3DXVECTOR3(pool[pick(random)], pool[pick(random)], pool[pick(random)]);
      vb->links[v].smoothingKey = std::uint32_t(key(random)) * 7;
    }
    vb->BuildAdjacency(*indexBuffer({0, 1, 2}));
    const auto expected = pairwiseTwins(*vb);
    for (std::uint32_t v = 0; v < n; ++v) ASSERT_EQ(vb->links[v].twins, expected[v]) << "seed " << seed << " vertex " << v;
  }
}

TEST_F(BufferTest, OutOfRangeIndicesKeepTheirTriangleButNeverReachTheVertices) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  setUv2(vb, 1, 1, 0);
  setUv2(vb, 2, 0, 1);
  // Triangle 1 names vertex 9 of 3; the array claims a third triangle it
  // does not hold.
  IndexBuffer* ib = indexBuffer({0, 1, 2, 0, 9, 1});
  ib->triangleCount = 3;
  vb->BuildAdjacency(*ib);
  ASSERT_EQ(vb->triangleCount, 3u);
  EXPECT_EQ(vb->links[0].triangles.size(), 2u);
  EXPECT_EQ(vb->links[2].triangles.size(), 1u);
  vb->ComputeTriangleFrames();
  EXPECT_EQ(vb->triangles[1].normal, D3DXVECTOR3(0, 0, 0));
  EXPECT_EQ(vb->triangles[2].tangent, D3DXVECTOR3(0, 0, 0));
  vb->ComputeVertexFrames();  // only triangle 0 shapes the frames
  expectNear(vb->vertexAt(0)->normal, 0, 0, 1, "normal");
  expectNear(vb->vertexAt(0)->tangent, -1, 0, 0, "tangent");
}

TEST_F(BufferTest, TriangleFramesSolveTheUv2MappingWithoutNormalising) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {2, 0, 0}, {0, 3, 0}, {5, 5, 5}});
  // s grows by 0.5 over the 2 units of the x edge (4 units per unit s), u by
  // 1 over the 3 units of the y edge. Vertex 3 belongs to no triangle.
  setUv2(vb, 1, 0.5f, 0);
  setUv2(vb, 2, 0, 1);
  vb->BuildAdjacency(*indexBuffer({0, 1, 2}));
  vb->ComputeTriangleFrames();
  expectNear(vb->triangles[0].normal, 0, 0, 1, "face normal");
  expectNear(vb->triangles[0].tangent, 4, 0, 0, "tangent (position per unit s)");
  expectNear(vb->triangles[0].binormal, 0, 3, 0, "binormal (position per unit u)");
  vb->ComputeVertexFrames();
  for (std::uint32_t v = 0; v < 3; ++v) {
    expectNear(vb->vertexAt(v)->normal, 0, 0, 1, "normal");
    expectNear(vb->vertexAt(v)->tangent, -1, 0, 0, "stored tangent is negated");
    expectNear(vb->vertexAt(v)->binormal, 0, -1, 0, "stored binormal is negated");
  }
  EXPECT_EQ(vb->vertexAt(3)->normal, D3DXVECTOR3(0, 0, 0));  // zeros, not NaN
  EXPECT_EQ(vb->vertexAt(3)->tangent, D3DXVECTOR3(0, 0, 0));

  setUv2(vb, 1, 1, 1);
  setUv2(vb, 2, 2, 2);  // all three uv2 on one line: no tangent frame
  vb->ComputeTriangleFrames();
  vb->ComputeVertexFrames();
  for (std::uint32_t v = 0; v < 3; ++v) {
    EXPECT_EQ(vb->vertexAt(v)->tangent, D3DXVECTOR3(0, 0, 0));
    EXPECT_EQ(vb->vertexAt(v)->binormal, D3DXVECTOR3(0, 0, 0));
    expectNear(vb->vertexAt(v)->normal, 0, 0, 1, "normal still set");
  }
}

TEST_F(BufferTest, TwinsAverageNormalsAcrossASeamButTangentsStayPerVertex) {
  // Two triangles folded 90° along the edge x = 0..1, y = 0, whose vertices
  // are duplicated (2, 3 repeat 0, 1) as an exporter writes a seam. Face A
  // (0, 1, 4) faces +z, face B (2, 5, 3) faces +y.
  for (std::uint32_t keyOfB : {1u, 0u}) {
    SCOPED_TRACE(keyOfB ? "hard edge" : "smooth edge");
    VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
    setUv2(vb, 1, 1, 0);
    setUv2(vb, 4, 0, 1);
    setUv2(vb, 3, 1, 0);
    setUv2(vb, 5, 0, 1);
    for (std::uint32_t v : {2u, 3u, 5u}) vb->links[v].smoothingKey = keyOfB;
    vb->BuildAdjacency(*indexBuffer({0, 1, 4, 2, 5, 3}));
    vb->ComputeTriangleFrames();
    vb->ComputeVertexFrames();
    EXPECT_EQ(vb->links[0].twins, keyOfB ? std::vector<std::uint32_t>{} : std::vector<std::uint32_t>{2});
    const float h = std::sqrt(0.5f);
    expectNear(vb->vertexAt(0)->normal, 0, keyOfB ? 0 : h, keyOfB ? 1 : h, "A on the seam");
    expectNear(vb->vertexAt(3)->normal, 0, keyOfB ? 1 : h, keyOfB ? 0 : h, "B on the seam");
    expectNear(vb->vertexAt(4)->normal, 0, 0, 1, "A's own corner");
    expectNear(vb->vertexAt(0)->binormal, 0, -1, 0, "A");
    expectNear(vb->vertexAt(2)->binormal, 0, 0, -1, "B");
  }
}

TEST_F(BufferTest, UploadsWriteTheRecomputedVerticesAndIndicesToTheDevice) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  IndexBuffer* ib = indexBuffer({0, 1, 2});
  vb->BuildAdjacency(*ib);
  std::size_t mark = log().mark();
  vb->Upload();  // no device buffer yet: only the frames are recomputed
  EXPECT_EQ(log().size(), mark);
  expectNear(vb->vertexAt(2)->normal, 0, 0, 1, "normal");

  vb->vertexAt(1)->normal = D3DXVECTOR3(9, 9, 9);
  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*vb));
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  mark = log().mark();
  vb->Upload();
  ib->Upload();
  EXPECT_EQ(log().texts(mark).size(), 4u) << log().dump(mark);
  for (const RecordedCall* lock : log().named("Lock", mark))  // whole buffer, no flags
    EXPECT_TRUE(lock->raw(0) == 0 && lock->raw(1) == 0 && lock->raw(2) == 0) << log().dump(mark);
  EXPECT_EQ(log().count("Unlock", mark), 2u);
  expectNear(vb->vertexAt(1)->normal, 0, 0, 1, "recomputed before the copy");
  void* data = nullptr;
  ASSERT_EQ(vb->deviceBuffer->Lock(0, 0, &data, D3DLOCK_READONLY), D3D_OK);
  EXPECT_EQ(std::memcmp(data, vb->vertices.data(), 3 * 64), 0);
  vb->deviceBuffer->Unlock();

  // A system copy shorter than its triangle count: zeros for the missing
  // indices, nothing read past the copy.
  IndexBuffer* shortCopy = indexBuffer({7, 8, 9});
  shortCopy->triangleCount = 2;
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*shortCopy));
  shortCopy->Upload();
  ASSERT_EQ(shortCopy->deviceBuffer->Lock(0, 0, &data, D3DLOCK_READONLY), D3D_OK);
  const auto* words = static_cast<const std::uint16_t*>(data);
  EXPECT_EQ((std::vector<std::uint16_t>(words, words + 6)), (std::vector<std::uint16_t>{7, 8, 9, 0, 0, 0}));
  shortCopy->deviceBuffer->Unlock();
}

TEST_F(BufferTest, LockFailuresAreFatal) {
  // A released device buffer answers every Lock with an error.
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}});
  IndexBuffer* ib = indexBuffer({0, 0, 0});
  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*vb));
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  vb->deviceBuffer->Release();
  ib->deviceBuffer->Release();
  EXPECT_EQ(fatal([&] { vb->Upload(); }), "Vertex buffer lock failed!");
  EXPECT_EQ(fatal([&] { ib->Upload(); }), "Index buffer lock failed!");
  vb->deviceBuffer = nullptr;
  ib->deviceBuffer = nullptr;
}

}  // namespace
