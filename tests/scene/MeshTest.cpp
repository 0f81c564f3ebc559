// Mesh linking (adjacency, device buffers, uploads) on the recording device,
// its failure messages, and the draw-time bindings of meshes and submeshes.
#include "render/IndexBuffer.h"
#include "render/VertexBuffer.h"
#include "scene/Group.h"
#include "scene/Material.h"
#include "scene/Mesh.h"
#include "tests/scene/MeshTestScene.h"

#include <cmath>
#include <cstring>

namespace {

class MeshTest : public GeometrySceneTest {
 protected:
  // A unit quad of four vertices (two triangles) around the origin with a
  // duplicated corner (vertex 4 repeats vertex 0), so adjacency has twins.
  Mesh* quadMesh() {
    vb = new VertexBuffer(scene->AllocateId(), scene, 5);
    const D3DXVECTOR3 corners[5] = {{-1, -2, 0}, {1, -2, 0}, {1, 2, 0}, {-1, 2, 0}, {-1, -2, 0}};
    for (std::uint32_t i = 0; i < 5; ++i) vb->vertexAt(i)->position = corners[i];
    ib = new IndexBuffer(scene->AllocateId(), scene);
    ib->indices = {0, 1, 2, 4, 2, 3};
    ib->triangleCount = 2;
    Mesh* mesh = new Mesh(scene->AllocateId(), scene);
    mesh->vertexBufferRef.reset(std::int32_t(vb->id));
    mesh->indexBufferRef.reset(std::int32_t(ib->id));
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
}

TEST_F(MeshTest, BufferCreationFailuresAreFatalWithTheirOwnMessages) {
  Mesh* mesh = quadMesh();
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateVertexBuffer");
  std::size_t mark = log().mark();
  EXPECT_EQ(fatalOf([&] { mesh->link(); }), "Error|Vertex buffer creation failed!");
  EXPECT_EQ(log().count("CreateIndexBuffer", mark), 0u);

  Mesh* second = quadMesh();
  device->failCreation(D3DERR_OUTOFVIDEOMEMORY, 1, "CreateIndexBuffer");
  mark = log().mark();
  EXPECT_EQ(fatalOf([&] { second->link(); }), "Error|Index buffer creation failed!");
  // The vertices were already uploaded when the index buffer failed.
  EXPECT_EQ(log().count("Lock", mark), 1u);
}

TEST_F(MeshTest, UnresolvedOrMistypedBufferReferencesLeaveTheMeshUnlinked) {
  Mesh* missing = quadMesh();
  missing->indexBufferRef.reset(999);
  Mesh* mistyped = quadMesh();
  mistyped->vertexBufferRef.reset(std::int32_t(mistyped->id));  // a mesh, not a vertex buffer
  const std::size_t mark = log().mark();
  missing->link();
  mistyped->link();
  EXPECT_EQ(log().size(), mark) << log().dump(mark);
  EXPECT_EQ(missing->boundValue, 0.0f);

  // Drawing an unlinked mesh binds no buffers.
  missing->bindBuffers();
  IDirect3DVertexBuffer9* bound = nullptr;
  UINT offset = 1, stride = 1;
  device->GetStreamSource(0, &bound, &offset, &stride);
  EXPECT_EQ(bound, nullptr);
  IDirect3DIndexBuffer9* indices = nullptr;
  device->GetIndices(&indices);
  EXPECT_EQ(indices, nullptr);
}

TEST_F(MeshTest, MeshesSharingAVertexBufferShareOneDeviceCopy) {
  Mesh* first = quadMesh();
  Mesh* second = new Mesh(scene->AllocateId(), scene);
  second->vertexBufferRef.reset(std::int32_t(vb->id));
  second->indexBufferRef.reset(std::int32_t(ib->id));
  const std::size_t mark = log().mark();
  first->link();
  second->link();
  EXPECT_EQ(log().count("CreateVertexBuffer", mark), 1u);
  EXPECT_EQ(log().count("CreateIndexBuffer", mark), 1u);
  EXPECT_EQ(log().count("Lock", mark), 4u);
  EXPECT_FLOAT_EQ(second->boundValue, first->boundValue);
}

TEST_F(MeshTest, BindingSetsTheStreamTheIndicesAndTheWorldTransform) {
  Mesh* mesh = quadMesh();
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

  Group* node = new Group(scene->AllocateId(), scene);
  D3DXMatrixTranslation(&node->world, 3, 4, 5);
  mesh->setWorldTransform(node);
  D3DMATRIX world{};
  device->GetTransform(D3DTS_WORLD, &world);
  EXPECT_EQ(std::memcmp(&world, &node->world, sizeof world), 0);

  // The device holds references to what is bound; let go before the scene.
  device->SetStreamSource(0, nullptr, 0, 0);
  device->SetIndices(nullptr);
}

TEST_F(MeshTest, SubMeshLinkResolvesItsMeshIndexBuffer) {
  Mesh* mesh = quadMesh();
  auto* submesh = new SubMesh(scene->AllocateId(), scene);
  submesh->mesh = mesh;
  EXPECT_EQ(mesh->indexBufferRef.object, nullptr);
  submesh->link();
  EXPECT_EQ(mesh->indexBufferRef.object, ib);
  // A submesh without its mesh (damaged file) links to nothing.
  auto* orphan = new SubMesh(scene->AllocateId(), scene);
  orphan->link();
}

TEST_F(MeshTest, EveryControlFieldNameIsFatal) {
  Mesh* mesh = quadMesh();
  for (const char* name : {"VISTRACK", "OPACITY", ""})
    EXPECT_EQ(fatalOf([&] { mesh->getControlField(name); }), "Error|Mesh: Invalid control field!") << name;
}

}  // namespace
