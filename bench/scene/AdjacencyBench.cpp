// Mesh preparation cost at the 16-bit index limit: a 65,536-vertex grid
// whose quads each carry their own four corners (as an exporter writes a
// flat-mapped mesh), so every interior position is shared by four vertices
// and three twins each. The hashed twin search is measured against the
// plain loop over every vertex pair, which is kept here as the reference.
#include "platform/gfx/recording/RecordingDevice.h"
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "scene/SceneGraph.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

constexpr std::uint32_t kQuadsPerSide = 128;  // 128 × 128 quads × 4 corners = 65,536 vertices

struct GridScene {
  GridScene() : device(RecordingDevice::createOffscreen(64, 64)), scene(new SceneGraph(device)) {
    const std::uint32_t vertexCount = kQuadsPerSide * kQuadsPerSide * 4;
    vb = new VertexBuffer(scene->AllocateId(), scene, vertexCount);
    ib = new IndexBuffer(scene->AllocateId(), scene);
    ib->triangleCount = kQuadsPerSide * kQuadsPerSide * 2;
    ib->indices.reserve(std::size_t(ib->triangleCount) * 3);
    std::uint32_t v = 0;
    for (std::uint32_t j = 0; j < kQuadsPerSide; ++j) {
      for (std::uint32_t i = 0; i < kQuadsPerSide; ++i) {
        const std::uint32_t first = v;
        for (std::uint32_t corner = 0; corner < 4; ++corner, ++v) {
          const float x = float(i + (corner & 1)), z = float(j + (corner >> 1));
          LitVertex* vertex = vb->vertexAt(v);
          // A gentle wave so the normals differ from vertex to vertex.
          vertex->position = D3DXVECTOR3(x, 0.01f * float((i * 7 + j * 3) % 11), z);
          vertex->uv2[0] = x / kQuadsPerSide;
          vertex->uv2[1] = z / kQuadsPerSide;
        }
        for (std::uint32_t index : {0u, 2u, 1u, 1u, 2u, 3u}) ib->indices.push_back(std::uint16_t(first + index));
      }
    }
  }
  ~GridScene() {
    delete scene;
    device->Release();
  }

  RecordingDevice* device;
  SceneGraph* scene;
  VertexBuffer* vb = nullptr;
  IndexBuffer* ib = nullptr;
};

// Every pair a < b with float-equal positions and equal keys, in the order
// the twin lists must come out.
std::vector<std::vector<std::uint32_t>> pairwiseTwins(const VertexBuffer& vb) {
  std::vector<std::vector<std::uint32_t>> twins(vb.vertexCount);
  for (std::uint32_t a = 0; a < vb.vertexCount; ++a) {
    const D3DXVECTOR3& pa = vb.vertexAt(a)->position;
    for (std::uint32_t b = a + 1; b < vb.vertexCount; ++b) {
      const D3DXVECTOR3& pb = vb.vertexAt(b)->position;
      if (pa.x == pb.x && pa.y == pb.y && pa.z == pb.z && vb.links[a].smoothingKey == vb.links[b].smoothingKey) {
        twins[a].push_back(b);
        twins[b].push_back(a);
      }
    }
  }
  return twins;
}

void BM_BuildAdjacency(benchmark::State& state) {
  GridScene grid;
  for (auto _ : state) {
    grid.vb->BuildAdjacency(*grid.ib);
    benchmark::DoNotOptimize(grid.vb->links.data());
  }
  state.counters["vertices"] = grid.vb->vertexCount;
}
BENCHMARK(BM_BuildAdjacency)->Unit(benchmark::kMillisecond);

void BM_PairwiseTwinsReference(benchmark::State& state) {
  GridScene grid;
  std::vector<std::vector<std::uint32_t>> twins;
  for (auto _ : state) {
    twins = pairwiseTwins(*grid.vb);
    benchmark::DoNotOptimize(twins.data());
  }
  // The hashed search must give the very same lists.
  grid.vb->BuildAdjacency(*grid.ib);
  for (std::uint32_t v = 0; v < grid.vb->vertexCount; ++v) {
    if (grid.vb->links[v].twins != twins[v]) {
      state.SkipWithError("hashed twins differ from the pairwise reference");
      break;
    }
  }
}
BENCHMARK(BM_PairwiseTwinsReference)->Unit(benchmark::kMillisecond)->Iterations(1);

// What linking a mesh costs on the CPU before the device copy: adjacency,
// then the triangle and vertex frames that every upload recomputes.
void BM_MeshPreparation(benchmark::State& state) {
  GridScene grid;
  for (auto _ : state) {
    grid.vb->BuildAdjacency(*grid.ib);
    grid.vb->ComputeTriangleFrames();
    grid.vb->ComputeVertexFrames();
    benchmark::DoNotOptimize(grid.vb->vertices.data());
  }
}
BENCHMARK(BM_MeshPreparation)->Unit(benchmark::kMillisecond);

// The per-upload part alone (a vertex controller's cost per frame).
void BM_RecomputeFrames(benchmark::State& state) {
  GridScene grid;
  grid.vb->BuildAdjacency(*grid.ib);
  for (auto _ : state) {
    grid.vb->ComputeTriangleFrames();
    grid.vb->ComputeVertexFrames();
    benchmark::DoNotOptimize(grid.vb->vertices.data());
  }
}
BENCHMARK(BM_RecomputeFrames)->Unit(benchmark::kMillisecond);

}  // namespace
