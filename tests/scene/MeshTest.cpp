// Mesh linking (adjacency, device buffers, uploads), its failure messages,
// and the draw-time bindings of meshes and submeshes.
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "scene/Mesh.h"
#include "tests/scene/SceneTestSupport.h"

#include <cmath>
#include <cstring>

namespace {

class MeshTest : public SceneTest {
 protected:
  // A 2 × 4 quad of two triangles around the origin; vertex 4 repeats
  // vertex 0, so adjacency finds twins.
  Mesh* quadMesh() {
    vb = new VertexBuffer(scene->AllocateId(), scene, 5);
    const D3DXVECTOR3 corners[5] = {{-1, -2, 0}, {1, -2, 0}, {1, 2, 0}, {-1, 2, 0}, {-1, -2, 0}};
    for (std::uint32_t i = 0; i < 5; ++i) vb->vertexAt(i)->position = corners[i];
    ib = new IndexBuffer(scene->AllocateId(), scene);
    ib->indices = {0, 1, 2, 4, 2, 3};
    ib->triangleCount = 2;
    Mesh* mesh = make<Mesh>();
    use(mesh->vertexBufferRef, vb);
    use(mesh->indexBufferRef, ib);
    return mesh;
  }
  VertexBuffer* vb = nullptr;
  IndexBuffer* ib = nullptr;
};

TEST_F(MeshTest, LinkBuildsAdjacencyThenCreatesAndFillsBothDeviceBuffersInOrder) {
  Mesh* mesh = quadMesh();
  const std::size_t mark = log().mark();
  mesh->link();
  ASSERT_EQ(log().size(), mark + 6) << log().dump(mark);
  const std::string vertexBuffer = log()[mark].created, indexBuffer = log()[mark + 3].created;
  EXPECT_EQ(log().texts(mark),
            (std::vector<std::string>{
                "CreateVertexBuffer(320, D3DUSAGE_WRITEONLY, D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | "
                "D3DFVF_TEXCOORDSIZE3(2) | D3DFVF_TEXCOORDSIZE3(3), D3DPOOL_MANAGED)",
                vertexBuffer + ".Lock(0, 0, 0)", vertexBuffer + ".Unlock()",
                "CreateIndexBuffer(12, D3DUSAGE_WRITEONLY, D3DFMT_INDEX16, D3DPOOL_MANAGED)",
                indexBuffer + ".Lock(0, 0, 0)", indexBuffer + ".Unlock()"}));
  // Adjacency ran before the upload, which recomputed the normals.
  EXPECT_EQ(vb->links[0].twins, (std::vector<std::uint32_t>{4}));
  EXPECT_FLOAT_EQ(mesh->boundValue, 1.0f + 4.0f);
  EXPECT_FLOAT_EQ(std::fabs(vb->vertexAt(4)->normal.z), 1.0f);

  // A second mesh on the same buffers shares the device copies.
  Mesh* second = make<Mesh>();
  use(second->vertexBufferRef, vb);
  use(second->indexBufferRef, ib);
  const std::size_t secondMark = log().mark();
  second->link();
  EXPECT_EQ(log().count("CreateVertexBuffer", secondMark) + log().count("CreateIndexBuffer", secondMark), 0u);
  EXPECT_EQ(log().count("Lock", secondMark), 2u);
  EXPECT_FLOAT_EQ(second->boundValue, mesh->boundValue);
}

TEST_F(MeshTest, BufferCreationFailuresAreFatalWithTheirOwnMessages) {
  Mesh* mesh = quadMesh();
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateVertexBuffer");
  std::size_t mark = log().mark();
  EXPECT_EQ(fatal([&] { mesh->link(); }), "Vertex buffer creation failed!");
  EXPECT_EQ(log().count("CreateIndexBuffer", mark), 0u);

  Mesh* second = quadMesh();
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateIndexBuffer");
  mark = log().mark();
  EXPECT_EQ(fatal([&] { second->link(); }), "Index buffer creation failed!");
  EXPECT_EQ(log().count("Lock", mark), 1u);  // the vertices were already uploaded
}

TEST_F(MeshTest, UnresolvedOrMistypedBufferReferencesLeaveTheMeshUnlinked) {
  Mesh* missing = quadMesh();
  missing->indexBufferRef.reset(999);
  Mesh* mistyped = quadMesh();
  use(mistyped->vertexBufferRef, mistyped);  // a mesh, not a vertex buffer
  const std::size_t mark = log().mark();
  missing->link();
  mistyped->link();
  auto* orphan = make<SubMesh>();  // a submesh without its mesh (damaged file)
  orphan->link();
  EXPECT_EQ(log().size(), mark) << log().dump(mark);
  EXPECT_EQ(missing->boundValue, 0.0f);
  missing->bindBuffers();  // binds nothing
  IDirect3DVertexBuffer9* bound = nullptr;
  UINT offset = 1, stride = 1;
  device->GetStreamSource(0, &bound, &offset, &stride);
  EXPECT_EQ(bound, nullptr);
  IDirect3DIndexBuffer9* indices = nullptr;
  device->GetIndices(&indices);
  EXPECT_EQ(indices, nullptr);
}

TEST_F(MeshTest, BindingSetsTheStreamTheIndicesAndTheWorldTransform) {
  Mesh* mesh = quadMesh();
  auto* submesh = make<SubMesh>();
  submesh->mesh = mesh;
  EXPECT_EQ(mesh->indexBufferRef.object, nullptr);
  submesh->link();  // resolves its mesh's index buffer
  EXPECT_EQ(mesh->indexBufferRef.object, ib);

  mesh->link();
  mesh->bindBuffers();
  IDirect3DVertexBuffer9* bound = nullptr;
  UINT offset = 1, stride = 0;
  ASSERT_EQ(device->GetStreamSource(0, &bound, &offset, &stride), D3D_OK);
  EXPECT_EQ(bound, vb->deviceBuffer);
  EXPECT_EQ(offset, 0u);
  EXPECT_EQ(stride, 64u);
  if (bound != nullptr) bound->Release();
  IDirect3DIndexBuffer9* indices = nullptr;
  ASSERT_EQ(device->GetIndices(&indices), D3D_OK);
  EXPECT_EQ(indices, ib->deviceBuffer);
  if (indices != nullptr) indices->Release();

  Group* node = make<Group>();
  D3DXMatrixTranslation(&node->world, 3, 4, 5);
  mesh->setWorldTransform(node);
  D3DMATRIX world{};
  device->GetTransform(D3DTS_WORLD, &world);
  EXPECT_EQ(std::memcmp(&world, &node->world, sizeof world), 0);
  // The device holds references to what is bound; let go before the scene.
  device->SetStreamSource(0, nullptr, 0, 0);
  device->SetIndices(nullptr);
}

}  // namespace
