// Vertex and index buffers: bound values, adjacency and twins, the tangent
// frames, and what the uploads write into the device buffers.
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "tests/scene/MeshTestScene.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

// The rule the twin search must reproduce, written as the plain loop over
// every pair a < b: float equality on x, y, z and equal smoothing keys.
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

void expectVector(const D3DXVECTOR3& actual, float x, float y, float z, const char* what) {
  EXPECT_NEAR(actual.x, x, 1e-5f) << what;
  EXPECT_NEAR(actual.y, y, 1e-5f) << what;
  EXPECT_NEAR(actual.z, z, 1e-5f) << what;
}

class BufferTest : public GeometrySceneTest {
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
  // A NaN coordinate does not poison the extent of the others.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FLOAT_EQ(vertexBuffer({{nan, 1, 0}, {-2, 0, 0}})->BoundValue(), 5.0f);
}

TEST_F(BufferTest, MultiBufferBoundCoversEveryFrameButNotTheCurrentVertices) {
  auto* mvb = new MultiVertexBuffer(scene->AllocateId(), scene, 2, 3);
  ASSERT_EQ(mvb->frames.size(), 3u);
  for (const auto& frame : mvb->frames) {
    ASSERT_EQ(frame.size(), 6u);
    for (float f : frame) EXPECT_EQ(f, 0.0f);
  }
  EXPECT_EQ(mvb->BoundValue(), 0.0f);
  mvb->vertexAt(0)->position = D3DXVECTOR3(100, 100, 100);  // ignored
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
  // The second triangle names vertex 3 twice: listed twice.
  IndexBuffer* ib = indexBuffer({0, 1, 2, 3, 1, 3});
  vb->BuildAdjacency(*ib);
  ASSERT_EQ(vb->triangleCount, 2u);
  ASSERT_EQ(vb->triangles.size(), 2u);
  EXPECT_EQ(vb->triangles[1].index[0], 3u);
  EXPECT_EQ(vb->triangles[1].index[2], 3u);
  const TriangleFrame* t0 = &vb->triangles[0];
  const TriangleFrame* t1 = &vb->triangles[1];
  EXPECT_EQ(vb->links[0].triangles, (std::vector<TriangleFrame*>{const_cast<TriangleFrame*>(t0)}));
  EXPECT_EQ(vb->links[1].triangles,
            (std::vector<TriangleFrame*>{const_cast<TriangleFrame*>(t0), const_cast<TriangleFrame*>(t1)}));
  EXPECT_EQ(vb->links[3].triangles,
            (std::vector<TriangleFrame*>{const_cast<TriangleFrame*>(t1), const_cast<TriangleFrame*>(t1)}));

  // Building again replaces the lists rather than appending to them.
  vb->BuildAdjacency(*ib);
  EXPECT_EQ(vb->links[1].triangles.size(), 2u);
  EXPECT_EQ(vb->links[1].triangles[0], &vb->triangles[0]);
}

TEST_F(BufferTest, TwinsMatchThePairwiseRuleOnRandomMeshes) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float denormal = std::numeric_limits<float>::denorm_min();
  const float pool[] = {0.0f, -0.0f, 1.0f, std::nextafter(1.0f, 2.0f), -1.0f, nan, denormal, 2.5f};
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
    IndexBuffer* ib = indexBuffer({0, 1, 2});
    vb->BuildAdjacency(*ib);
    const auto expected = pairwiseTwins(*vb);
    for (std::uint32_t v = 0; v < n; ++v) ASSERT_EQ(vb->links[v].twins, expected[v]) << "seed " << seed << " vertex " << v;
  }
}

TEST_F(BufferTest, TwinsFoldSignedZerosAndNeverPairNaN) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  VertexBuffer* vb = vertexBuffer({{0.0f, 1, 2}, {nan, 1, 2}, {-0.0f, 1, 2}, {nan, 1, 2}, {0.0f, 1, 2}});
  vb->links[4].smoothingKey = 3;  // same position, other smoothing group
  vb->BuildAdjacency(*indexBuffer({}));
  EXPECT_EQ(vb->links[0].twins, (std::vector<std::uint32_t>{2}));
  EXPECT_EQ(vb->links[2].twins, (std::vector<std::uint32_t>{0}));
  EXPECT_TRUE(vb->links[1].twins.empty());
  EXPECT_TRUE(vb->links[3].twins.empty());
  EXPECT_TRUE(vb->links[4].twins.empty());
}

TEST_F(BufferTest, OutOfRangeIndicesKeepTheirTriangleButNeverReachTheVertices) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  setUv2(vb, 1, 1, 0);
  setUv2(vb, 2, 0, 1);
  // Triangle 1 names vertex 9 of 3; the index array claims a third triangle
  // it does not hold.
  IndexBuffer* ib = indexBuffer({0, 1, 2, 0, 9, 1});
  ib->triangleCount = 3;
  vb->BuildAdjacency(*ib);
  ASSERT_EQ(vb->triangleCount, 3u);
  EXPECT_EQ(vb->links[0].triangles.size(), 2u);  // triangles 0 and 1
  EXPECT_EQ(vb->links[1].triangles.size(), 2u);
  EXPECT_EQ(vb->links[2].triangles.size(), 1u);

  vb->ComputeTriangleFrames();
  EXPECT_EQ(vb->triangles[1].normal, D3DXVECTOR3(0, 0, 0));
  EXPECT_EQ(vb->triangles[2].tangent, D3DXVECTOR3(0, 0, 0));
  vb->ComputeVertexFrames();
  // Only triangle 0 shapes the frames.
  expectVector(vb->vertexAt(0)->normal, 0, 0, 1, "normal");
  expectVector(vb->vertexAt(0)->tangent, -1, 0, 0, "tangent");
}

TEST_F(BufferTest, TriangleFramesSolveTheUv2MappingWithoutNormalising) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {2, 0, 0}, {0, 3, 0}});
  // s grows by 0.5 over the 2 units of the x edge (4 units per unit s), u
  // by 1 over the 3 units of the y edge.
  setUv2(vb, 1, 0.5f, 0);
  setUv2(vb, 2, 0, 1);
  vb->BuildAdjacency(*indexBuffer({0, 1, 2}));
  vb->ComputeTriangleFrames();
  const TriangleFrame& frame = vb->triangles[0];
  expectVector(frame.normal, 0, 0, 1, "face normal");
  expectVector(frame.tangent, 4, 0, 0, "tangent (position per unit s)");
  expectVector(frame.binormal, 0, 3, 0, "binormal (position per unit u)");

  vb->ComputeVertexFrames();
  for (std::uint32_t v = 0; v < 3; ++v) {
    expectVector(vb->vertexAt(v)->normal, 0, 0, 1, "normal");
    expectVector(vb->vertexAt(v)->tangent, -1, 0, 0, "stored tangent is negated");
    expectVector(vb->vertexAt(v)->binormal, 0, -1, 0, "stored binormal is negated");
  }
}

TEST_F(BufferTest, CollinearUv2GivesZeroTangentsAndUnusedVerticesGetZeroFrames) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}});
  setUv2(vb, 1, 1, 1);
  setUv2(vb, 2, 2, 2);  // all three uv2 on one line: det = 0
  vb->BuildAdjacency(*indexBuffer({0, 1, 2}));
  vb->ComputeTriangleFrames();
  vb->ComputeVertexFrames();
  for (std::uint32_t v = 0; v < 3; ++v) {
    EXPECT_EQ(vb->vertexAt(v)->tangent, D3DXVECTOR3(0, 0, 0));
    EXPECT_EQ(vb->vertexAt(v)->binormal, D3DXVECTOR3(0, 0, 0));
    expectVector(vb->vertexAt(v)->normal, 0, 0, 1, "normal still set");
  }
  // Vertex 3 belongs to no triangle: zeros, not NaN.
  EXPECT_EQ(vb->vertexAt(3)->normal, D3DXVECTOR3(0, 0, 0));
  EXPECT_EQ(vb->vertexAt(3)->tangent, D3DXVECTOR3(0, 0, 0));
}

// Two triangles folded 90° along the edge x = 0..1, y = 0: the shared edge's
// vertices are duplicated (2, 3 repeat 0, 1) as an exporter writes a seam.
class FoldedEdge : public BufferTest {
 protected:
  VertexBuffer* build(std::uint32_t keyOfSecondFace) {
    VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
    // Face A (0, 1, 4) lies in z = 0 facing +z, face B (2, 5, 3) in y = 0
    // facing +y.
    setUv2(vb, 1, 1, 0);
    setUv2(vb, 4, 0, 1);
    setUv2(vb, 3, 1, 0);
    setUv2(vb, 5, 0, 1);
    for (std::uint32_t v : {2u, 3u, 5u}) vb->links[v].smoothingKey = keyOfSecondFace;
    vb->BuildAdjacency(*indexBuffer({0, 1, 4, 2, 5, 3}));
    vb->ComputeTriangleFrames();
    vb->ComputeVertexFrames();
    return vb;
  }
};

TEST_F(FoldedEdge, DifferentSmoothingKeysKeepAHardEdge) {
  VertexBuffer* vb = build(1);
  EXPECT_TRUE(vb->links[0].twins.empty());
  expectVector(vb->vertexAt(0)->normal, 0, 0, 1, "face A");
  expectVector(vb->vertexAt(2)->normal, 0, 1, 0, "face B");
}

TEST_F(FoldedEdge, EqualKeysAverageNormalsButKeepTangentsPerVertex) {
  VertexBuffer* vb = build(0);
  EXPECT_EQ(vb->links[0].twins, (std::vector<std::uint32_t>{2}));
  const float h = std::sqrt(0.5f);
  for (std::uint32_t v : {0u, 1u, 2u, 3u}) expectVector(vb->vertexAt(v)->normal, 0, h, h, "smoothed");
  // Unshared corners keep their own face's normal.
  expectVector(vb->vertexAt(4)->normal, 0, 0, 1, "face A corner");
  // Tangents come from the vertex's own triangles only: binormal of A is +y,
  // of B +z.
  expectVector(vb->vertexAt(0)->binormal, 0, -1, 0, "A");
  expectVector(vb->vertexAt(2)->binormal, 0, 0, -1, "B");
}

TEST_F(BufferTest, UploadsWriteTheRecomputedVerticesAndIndicesToTheDevice) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  setUv2(vb, 1, 1, 0);
  setUv2(vb, 2, 0, 1);
  IndexBuffer* ib = indexBuffer({0, 1, 2});
  vb->BuildAdjacency(*ib);
  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*vb));
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  const std::size_t mark = log().mark();
  vb->Upload();
  ib->Upload();
  EXPECT_EQ(log().count("Lock", mark), 2u);
  for (const RecordedCall* lock : log().named("Lock", mark)) {
    EXPECT_EQ(lock->raw(0), 0u);  // whole buffer, no flags
    EXPECT_EQ(lock->raw(1), 0u);
    EXPECT_EQ(lock->raw(2), 0u);
  }
  EXPECT_EQ(log().count("Unlock", mark), 2u);
  expectVector(vb->vertexAt(1)->normal, 0, 0, 1, "recomputed before the copy");

  void* data = nullptr;
  ASSERT_EQ(vb->deviceBuffer->Lock(0, 0, &data, D3DLOCK_READONLY), D3D_OK);
  EXPECT_EQ(std::memcmp(data, vb->vertices.data(), 3 * 64), 0);
  vb->deviceBuffer->Unlock();
  ASSERT_EQ(ib->deviceBuffer->Lock(0, 0, &data, D3DLOCK_READONLY), D3D_OK);
  EXPECT_EQ(std::memcmp(data, ib->indices.data(), 6), 0);
  ib->deviceBuffer->Unlock();
}

TEST_F(BufferTest, ShortIndexArrayUploadsZerosForTheMissingIndices) {
  IndexBuffer* ib = indexBuffer({7, 8, 9});
  ib->triangleCount = 2;
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  ib->Upload();
  void* data = nullptr;
  ASSERT_EQ(ib->deviceBuffer->Lock(0, 0, &data, 0), D3D_OK);
  const auto* words = static_cast<const std::uint16_t*>(data);
  EXPECT_EQ((std::vector<std::uint16_t>(words, words + 6)), (std::vector<std::uint16_t>{7, 8, 9, 0, 0, 0}));
  ib->deviceBuffer->Unlock();
}

TEST_F(BufferTest, LockFailuresAreFatal) {
  // A released device buffer answers every Lock with an error.
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}});
  IndexBuffer* ib = indexBuffer({0, 0, 0});
  ASSERT_TRUE(cache().CreateDeviceVertexBuffer(*vb));
  ASSERT_TRUE(cache().CreateDeviceIndexBuffer(*ib));
  vb->deviceBuffer->Release();
  ib->deviceBuffer->Release();
  EXPECT_EQ(fatalOf([&] { vb->Upload(); }), "Error|Vertex buffer lock failed!");
  EXPECT_EQ(fatalOf([&] { ib->Upload(); }), "Error|Index buffer lock failed!");
  vb->deviceBuffer = nullptr;
  ib->deviceBuffer = nullptr;
}

TEST_F(BufferTest, UploadWithoutADeviceBufferOnlyRecomputesTheFrames) {
  VertexBuffer* vb = vertexBuffer({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  vb->BuildAdjacency(*indexBuffer({0, 1, 2}));
  const std::size_t mark = log().mark();
  vb->Upload();
  EXPECT_EQ(log().size(), mark);
  expectVector(vb->vertexAt(2)->normal, 0, 0, 1, "normal");
}

}  // namespace
