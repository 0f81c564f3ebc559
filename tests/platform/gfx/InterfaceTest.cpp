// The interface headers: constant values that other code stores in files or
// compares against, and the size helpers every back end relies on.
#include "platform/gfx/Device.h"

#include <gtest/gtest.h>

#include "platform/gfx/D3D9Format.h"

TEST(InterfaceTest, ConstantsKeepDirect3DValues) {
  static_assert(D3DRS_ZENABLE == 7 && D3DRS_LIGHTING == 137 && D3DRS_POINTSIZE_MAX == 166 && D3DRS_BLENDOP == 171);
  static_assert(D3DTSS_COLOROP == 1 && D3DTSS_TEXCOORDINDEX == 11 && D3DTSS_TEXTURETRANSFORMFLAGS == 24 &&
                D3DTSS_ALPHAARG0 == 27);
  static_assert(D3DSAMP_MAGFILTER == 5 && D3DSAMP_MIPFILTER == 7);
  static_assert(D3DTS_VIEW == 2 && D3DTS_PROJECTION == 3 && D3DTS_TEXTURE0 == 16 && D3DTS_TEXTURE7 == 23 &&
                D3DTS_WORLD == 256 && D3DTS_WORLDMATRIX(0) == D3DTS_WORLD);
  static_assert(D3DTOP_MULTIPLYADD == 25 && D3DBLEND_INVSRCALPHA == 6 && D3DCMP_ALWAYS == 8);
  static_assert(D3DUSAGE_DYNAMIC == 0x200 && D3DUSAGE_WRITEONLY == 8 && D3DLOCK_DISCARD == 0x2000);
  static_assert(D3DVS_VERSION(1, 1) == 0xFFFE0101u && D3DPS_VERSION(1, 4) == 0xFFFF0104u);
  static_assert(D3DSHADER_VERSION_MAJOR(D3DVS_VERSION(2, 0)) == 2);
  EXPECT_EQ(D3DFVF_TEXCOORDSIZE3(0), 0x10000u);
  EXPECT_EQ(D3DFVF_TEXCOORDSIZE1(1), 0xC0000u);
  EXPECT_EQ(D3DFVF_TEXCOORDSIZE4(3), 0x800000u);
  EXPECT_EQ(floatToDword(1.0f), 0x3F800000u);
  EXPECT_EQ(dwordToFloat(0x40490FDBu), 3.14159274f);
}

TEST(InterfaceTest, FvfVertexSizeCountsEveryComponent) {
  EXPECT_EQ(fvfVertexSize(D3DFVF_XYZ | D3DFVF_TEX1), 20u);  // the layer quad
  EXPECT_EQ(fvfVertexSize(D3DFVF_XYZ | D3DFVF_PSIZE | D3DFVF_DIFFUSE | D3DFVF_TEX1), 28u);
  EXPECT_EQ(fvfVertexSize(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX4 | D3DFVF_TEXCOORDSIZE3(2) |
                          D3DFVF_TEXCOORDSIZE3(3)),
            12u + 12u + 8u + 8u + 12u + 12u);  // the lit-mesh layout, 64 bytes
  EXPECT_EQ(fvfVertexSize(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_SPECULAR), 24u);
  EXPECT_EQ(fvfVertexSize(D3DFVF_NORMAL), 0u);
}

TEST(InterfaceTest, SurfaceSizesFollowFormatAndBlocks) {
  EXPECT_EQ(surfacePitch(D3DFMT_A8R8G8B8, 5), 20u);
  EXPECT_EQ(surfacePitch(D3DFMT_L8, 3), 3u);
  EXPECT_EQ(surfacePitch(D3DFMT_DXT1, 5), 16u);
  EXPECT_EQ(surfaceByteSize(D3DFMT_DXT5, 1, 1), 16u);
  EXPECT_EQ(surfaceByteSize(D3DFMT_DXT5, 8, 6), 2u * 2u * 16u);
  EXPECT_EQ(fullMipLevelCount(256, 64), 9u);
  EXPECT_EQ(fullMipLevelCount(1, 1), 1u);
  EXPECT_EQ(mipDimension(64, 8), 1u);
  EXPECT_EQ(mipDimension(64, 40), 1u);
  EXPECT_TRUE(isColorFormat(D3DFMT_DXT5));
  EXPECT_FALSE(isColorFormat(D3DFMT_D24S8));
  EXPECT_FALSE(isColorFormat(D3DFMT_UNKNOWN));
}

TEST(InterfaceTest, AttributeLocationsAreDistinctAndBounded) {
  bool used[16] = {};
  const BYTE usages[] = {D3DDECLUSAGE_POSITION, D3DDECLUSAGE_NORMAL, D3DDECLUSAGE_COLOR, D3DDECLUSAGE_PSIZE,
                         D3DDECLUSAGE_TEXCOORD, D3DDECLUSAGE_TANGENT, D3DDECLUSAGE_BINORMAL,
                         D3DDECLUSAGE_BLENDWEIGHT};
  for (BYTE usage : usages) {
    for (BYTE index = 0; index < 8; ++index) {
      int location = vertexAttributeLocation(usage, index);
      if (location < 0) continue;
      ASSERT_LT(location, 16);
      EXPECT_FALSE(used[location]) << "usage " << int(usage) << " index " << int(index);
      used[location] = true;
    }
  }
  EXPECT_EQ(vertexAttributeLocation(D3DDECLUSAGE_TEXCOORD, 3), 8);
  EXPECT_EQ(vertexAttributeLocation(D3DDECLUSAGE_TEXCOORD, 8), -1);
  EXPECT_EQ(vertexAttributeLocation(D3DDECLUSAGE_FOG, 0), -1);
  EXPECT_EQ(primitiveVertexCount(D3DPT_TRIANGLESTRIP, 2), 4u);
  EXPECT_EQ(primitiveVertexCount(D3DPT_TRIANGLELIST, 2), 6u);
}
