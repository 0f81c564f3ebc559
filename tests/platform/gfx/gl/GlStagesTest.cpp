// Texture stages, blending, alpha test and the program cache of the OpenGL
// device. Expected colours are worked out by hand from the inputs below.
#include "GlTestDevice.h"

namespace gltest {
namespace {

class GlStages : public GlDeviceTest {
 protected:
  void SetUp() override {
    DeviceOptions options;
    options.format = D3DFMT_A8R8G8B8;  // so the alpha results can be read back
    open(options);
    plainStates();
  }

  // One stage on the reference inputs: diffuse 0x55FF0000, texture
  // 0x9900FF00, TFACTOR 0xDD333333; ARG0 DIFFUSE, ARG1 TEXTURE, ARG2 TFACTOR.
  D3DCOLOR referenceStage(DWORD colorOp, DWORD alphaOp) {
    IDirect3DTexture9* t = texture(1, 1, {0x9900FF00});
    m_device->SetTexture(0, t);
    m_device->SetRenderState(D3DRS_TEXTUREFACTOR, 0xDD333333);
    for (auto [type, value] : {std::pair{D3DTSS_COLORARG0, D3DTA_DIFFUSE}, {D3DTSS_COLORARG1, D3DTA_TEXTURE},
                               {D3DTSS_COLORARG2, D3DTA_TFACTOR}, {D3DTSS_ALPHAARG0, D3DTA_DIFFUSE},
                               {D3DTSS_ALPHAARG1, D3DTA_TEXTURE}, {D3DTSS_ALPHAARG2, D3DTA_TFACTOR}})
      m_device->SetTextureStageState(0, type, value);
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, colorOp);
    m_device->SetTextureStageState(0, D3DTSS_ALPHAOP, alphaOp);
    clear(0);
    fullQuad(0x55FF0000);
    m_device->SetTexture(0, nullptr);
    t->Release();
    return pixel(4, 4);
  }
};

TEST_F(GlStages, ReferenceColoursOfTheStageOperations) {
  struct Case {
    DWORD op;
    D3DCOLOR rgb;
    D3DCOLOR alpha;  // the same op on the alphas 0x55, 0x99, 0xDD
  } cases[] = {
      {D3DTOP_SELECTARG1, 0x00FF00, 0x99},  {D3DTOP_SELECTARG2, 0x333333, 0xDD},
      {D3DTOP_MODULATE, 0x003300, 0x85},    {D3DTOP_ADD, 0x33FF33, 0xFF},
      {D3DTOP_ADDSMOOTH, 0x33FF33, 0xF1},   {D3DTOP_MULTIPLYADD, 0xFF3300, 0xDA},
      {D3DTOP_SUBTRACT, 0x00CC00, 0x00},    {D3DTOP_MODULATE2X, 0x006600, 0xFF},
      {D3DTOP_LERP, 0x003333, 0xC6},
  };
  for (const Case& c : cases) {
    const D3DCOLOR result = referenceStage(c.op, c.op);
    EXPECT_THAT(result & 0xFFFFFF, NearColor(c.rgb, 1)) << "op " << c.op;
    EXPECT_THAT(result >> 24, NearColor(c.alpha, 1)) << "alpha op " << c.op;
  }
}

// Every operation with every argument selector builds a program and draws.
TEST_F(GlStages, EveryOperationAndArgumentBuilds) {
  IDirect3DTexture9* t = texture(1, 1, {0x80808080});
  m_device->SetTexture(0, t);
  m_device->SetTexture(1, t);
  const DWORD selectors[] = {D3DTA_DIFFUSE, D3DTA_CURRENT, D3DTA_TEXTURE, D3DTA_TFACTOR, D3DTA_SPECULAR,
                             D3DTA_TEMP, D3DTA_CONSTANT, D3DTA_TEXTURE | D3DTA_COMPLEMENT | D3DTA_ALPHAREPLICATE};
  for (DWORD op = D3DTOP_SELECTARG1; op <= D3DTOP_LERP; ++op) {
    const DWORD arg = selectors[op % 8];
    m_device->SetTextureStageState(1, D3DTSS_COLOROP, op);
    m_device->SetTextureStageState(1, D3DTSS_ALPHAOP, op);
    m_device->SetTextureStageState(1, D3DTSS_COLORARG0, arg);
    m_device->SetTextureStageState(1, D3DTSS_COLORARG1, selectors[(op + 1) % 8]);
    m_device->SetTextureStageState(1, D3DTSS_ALPHAARG2, arg);
    m_device->SetTextureStageState(1, D3DTSS_RESULTARG, op % 2 ? D3DTA_TEMP : D3DTA_CURRENT);
    EXPECT_NO_FATAL_FAILURE(fullQuad(0xFF406080)) << "op " << op;
  }
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
  m_device->SetTexture(0, nullptr);
  m_device->SetTexture(1, nullptr);
  t->Release();
}

TEST_F(GlStages, ArgumentsModifiersAndChains) {
  IDirect3DTexture9* t = texture(1, 1, {0x80204060});
  m_device->SetTexture(0, t);
  // Stage 0: texture complemented; stage 1: current x diffuse's alpha replicated.
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_TEXTURE | D3DTA_COMPLEMENT);  // 0xDFBF9F
  m_device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_TEXTURE);
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_MODULATE);
  m_device->SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_CURRENT);
  m_device->SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_DIFFUSE | D3DTA_ALPHAREPLICATE);
  m_device->SetTextureStageState(1, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(1, D3DTSS_ALPHAARG1, D3DTA_CURRENT);
  clear(0);
  fullQuad(0x80FFFFFF);  // diffuse alpha 0x80 ~ 0.502
  EXPECT_THAT(pixel(1, 1), NearColor(0x80705F50u, 1));

  // A disabled colour op ends the chain, its alpha op too.
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_DISABLE);
  m_device->SetTextureStageState(2, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(2, D3DTSS_COLORARG1, D3DTA_TFACTOR);
  fullQuad(0x80FFFFFF);
  EXPECT_THAT(pixel(1, 1), NearColor(0x80DFBF9Fu, 1));

  // A stage that samples with no texture bound passes its input through.
  m_device->SetTexture(0, nullptr);
  fullQuad(0x80FFFFFF);
  EXPECT_THAT(pixel(1, 1), NearColor(0x80FFFFFFu, 0));

  // SPECULAR as an argument reads the vertex specular colour.
  struct V {
    float x, y, z, rhw;
    D3DCOLOR diffuse, specular;
  };
  const V quad[4] = {{0, 0, 0.5f, 1, 0xFFFFFFFF, 0xFF123456},
                     {16, 0, 0.5f, 1, 0xFFFFFFFF, 0xFF123456},
                     {0, 16, 0.5f, 1, 0xFFFFFFFF, 0xFF123456},
                     {16, 16, 0.5f, 1, 0xFFFFFFFF, 0xFF123456}};
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_SPECULAR);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
  m_device->SetFVF(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_SPECULAR);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_EQ(pixel(1, 1), 0xFF123456u);
  t->Release();
}

// A stage whose operation reads the texture of a stage without one acts as
// SELECTARG1 of CURRENT, colour and alpha each on its own. That is what
// Direct3D 9 drivers draw (the translators of Direct3D 9 to OpenGL and Vulkan
// implement the same rule); a default texel (white or black) would tint
// every untextured draw after one that left texture operations behind.
// Diffuse 0x80336699, TFACTOR 0xCC224488; "white" would saturate every ADD.
TEST_F(GlStages, StageReadingAnUnboundTexturePassesItsInputThrough) {
  constexpr D3DCOLOR kDiffuse = 0x80336699, kFactor = 0xCC224488;
  struct StageSetup {
    DWORD colorOp, colorArg0, colorArg1, colorArg2;
    DWORD alphaOp, alphaArg0, alphaArg1, alphaArg2;
  };
  constexpr DWORD T = D3DTA_TEXTURE, C = D3DTA_CURRENT, D = D3DTA_DIFFUSE, F = D3DTA_TFACTOR;
  constexpr StageSetup kDiffuseThrough = {D3DTOP_SELECTARG1, D, D, D, D3DTOP_SELECTARG1, D, D, D};
  constexpr StageSetup kOff = {D3DTOP_DISABLE, D, C, C, D3DTOP_DISABLE, D, C, C};
  struct Case {
    const char* what;
    StageSetup stage0, stage1;
    D3DCOLOR expected;
  } cases[] = {
      {"default stage 0: MODULATE(TEXTURE, CURRENT), SELECTARG1(TEXTURE)",
       {D3DTOP_MODULATE, D, T, C, D3DTOP_SELECTARG1, D, T, C}, kOff, kDiffuse},
      {"stage 1 ADD(CURRENT, TEXTURE) leaves the diffuse colour", kDiffuseThrough,
       {D3DTOP_ADD, D, C, T, D3DTOP_ADD, D, C, T}, kDiffuse},
      {"SELECTARG2 with TEXTURE as ARG2 gives the diffuse, not ARG1",
       {D3DTOP_SELECTARG2, D, F, T, D3DTOP_SELECTARG2, D, F, T}, kOff, kDiffuse},
      {"MULTIPLYADD reads ARG0", {D3DTOP_MULTIPLYADD, T, F, D, D3DTOP_MULTIPLYADD, T, F, D}, kOff, kDiffuse},
      {"LERP reads ARG0", {D3DTOP_LERP, T, F, D, D3DTOP_LERP, T, F, D}, kOff, kDiffuse},
      {"BLENDTEXTUREALPHA reads the texture by itself",
       {D3DTOP_BLENDTEXTUREALPHA, D, F, D, D3DTOP_BLENDTEXTUREALPHA, D, F, D}, kOff, kDiffuse},
      {"SELECTARG1 does not read ARG2", {D3DTOP_SELECTARG1, D, F, T, D3DTOP_SELECTARG1, D, F, T}, kOff, kFactor},
      {"MODULATE does not read ARG0", {D3DTOP_MODULATE, T, F, D, D3DTOP_MODULATE, T, F, D}, kOff,
       0x66071B52},  // TFACTOR x diffuse: 204*128, 34*51, 68*102, 136*153 over 255 = 102.4, 6.8, 27.2, 81.6
      {"colour passes, alpha computed", {D3DTOP_MODULATE, D, T, D, D3DTOP_SELECTARG1, D, F, D}, kOff, 0xCC336699},
      {"colour computed, alpha passes", {D3DTOP_SELECTARG1, D, F, D, D3DTOP_SELECTARG1, D, T, D}, kOff, 0x80224488},
      {"CURRENT is the stage before, not the diffuse", {D3DTOP_SELECTARG1, D, F, D, D3DTOP_SELECTARG1, D, D, D},
       {D3DTOP_ADD, D, C, T, D3DTOP_DISABLE, D, C, C}, 0x80224488},
  };
  auto apply = [&](DWORD stage, const StageSetup& s) {
    for (auto [type, value] : {std::pair{D3DTSS_COLOROP, s.colorOp}, {D3DTSS_COLORARG0, s.colorArg0},
                               {D3DTSS_COLORARG1, s.colorArg1}, {D3DTSS_COLORARG2, s.colorArg2},
                               {D3DTSS_ALPHAOP, s.alphaOp}, {D3DTSS_ALPHAARG0, s.alphaArg0},
                               {D3DTSS_ALPHAARG1, s.alphaArg1}, {D3DTSS_ALPHAARG2, s.alphaArg2}})
      m_device->SetTextureStageState(stage, type, value);
  };
  m_device->SetRenderState(D3DRS_TEXTUREFACTOR, kFactor);
  for (const Case& c : cases) {
    apply(0, c.stage0);
    apply(1, c.stage1);
    clear(0);
    fullQuad(kDiffuse);
    EXPECT_THAT(pixel(4, 4), NearColor(c.expected, 1)) << c.what;
  }
}

// The rule follows the binding, draw by draw: the same states read a texture
// once one is bound and pass through again once it is gone.
TEST_F(GlStages, BindingATextureBringsTheStageBack) {
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
  m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_ADD);
  m_device->SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_CURRENT);
  m_device->SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_TEXTURE);
  m_device->SetTextureStageState(1, D3DTSS_ALPHAOP, D3DTOP_ADD);
  m_device->SetTextureStageState(1, D3DTSS_ALPHAARG1, D3DTA_CURRENT);
  m_device->SetTextureStageState(1, D3DTSS_ALPHAARG2, D3DTA_TEXTURE);
  IDirect3DTexture9* t = texture(1, 1, {0x20101010});
  for (int round = 0; round < 2; ++round) {
    clear(0);
    fullQuad(0x80336699);
    EXPECT_THAT(pixel(4, 4), NearColor(0x80336699u, 1)) << "unbound, round " << round;
    m_device->SetTexture(1, t);
    clear(0);
    fullQuad(0x80336699);
    EXPECT_THAT(pixel(4, 4), NearColor(0xA04376A9u, 1)) << "bound, round " << round;  // each channel + 0x10, alpha + 0x20
    m_device->SetTexture(1, nullptr);
  }
  t->Release();
}

// With no texture and no vertex colour the default stages still give white:
// the pass-through reads the diffuse colour, which such a vertex has as white.
TEST_F(GlStages, NoTextureNoVertexColourDefaultStagesGiveWhite) {
  struct V {
    float x, y, z, rhw;
  };
  const V quad[4] = {{0, 0, 0.5f, 1}, {16, 0, 0.5f, 1}, {0, 16, 0.5f, 1}, {16, 16, 0.5f, 1}};
  clear(0x00000000);
  m_device->SetFVF(D3DFVF_XYZRHW);
  ASSERT_EQ(m_device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(V)), D3D_OK);
  EXPECT_EQ(pixel(4, 4), 0xFFFFFFFFu);
}

// A device made with fewer simultaneous textures reports them and draws only
// that many stages: the chain ends at the limit, a texture set past it is kept
// but never sampled.
TEST_F(GlStages, FewerSimultaneousTexturesEndTheChainAtTheLimit) {
  for (DWORD limit : {2u, 8u}) {
    DeviceOptions options;
    options.format = D3DFMT_A8R8G8B8;
    options.maxTextures = limit;
    open(options);
    plainStates();
    D3DCAPS9 caps{};
    ASSERT_EQ(m_device->GetDeviceCaps(&caps), D3D_OK);
    EXPECT_EQ(caps.MaxSimultaneousTextures, limit);
    EXPECT_EQ(caps.MaxTextureBlendStages, limit);
    ASSERT_EQ(m_d3d->GetDeviceCaps(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, &caps), D3D_OK);
    EXPECT_EQ(caps.MaxSimultaneousTextures, limit);

    IDirect3DTexture9* t = texture(1, 1, {0x20101010});
    m_device->SetRenderState(D3DRS_TEXTUREFACTOR, 0xCC224488);
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
    m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
    m_device->SetTexture(1, t);
    m_device->SetTextureStageState(1, D3DTSS_COLOROP, D3DTOP_ADD);
    m_device->SetTextureStageState(1, D3DTSS_COLORARG1, D3DTA_CURRENT);
    m_device->SetTextureStageState(1, D3DTSS_COLORARG2, D3DTA_TEXTURE);
    m_device->SetTextureStageState(1, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(1, D3DTSS_ALPHAARG1, D3DTA_CURRENT);
    // Stage 2 adds its texture again and takes its alpha from the factor.
    ASSERT_EQ(m_device->SetTexture(2, t), D3D_OK);
    m_device->SetTextureStageState(2, D3DTSS_COLOROP, D3DTOP_ADD);
    m_device->SetTextureStageState(2, D3DTSS_COLORARG1, D3DTA_CURRENT);
    m_device->SetTextureStageState(2, D3DTSS_COLORARG2, D3DTA_TEXTURE);
    m_device->SetTextureStageState(2, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(2, D3DTSS_ALPHAARG1, D3DTA_TFACTOR);
    clear(0);
    fullQuad(0x80336699);
    if (limit == 2)  // stages 0 and 1: diffuse + 0x10 per colour channel
      EXPECT_THAT(pixel(4, 4), NearColor(0x804376A9u, 1));
    else  // stage 2 too: + 0x10 again, alpha from the factor
      EXPECT_THAT(pixel(4, 4), NearColor(0xCC5386B9u, 1));

    IDirect3DBaseTexture9* held = nullptr;
    ASSERT_EQ(m_device->GetTexture(2, &held), D3D_OK);
    EXPECT_EQ(held, static_cast<IDirect3DBaseTexture9*>(t));
    held->Release();
    m_device->SetTexture(1, nullptr);
    m_device->SetTexture(2, nullptr);
    t->Release();
  }
}

TEST(GlDeviceOptions, TextureCountOutsideOneToEightMakesNoDevice) {
  for (DWORD bad : {0u, 9u, 0xFFFFFFFFu}) {
    GlDeviceOptions options;
    options.maxSimultaneousTextures = bad;
    EXPECT_EQ(createGlDirect3D(options), nullptr) << bad;
  }
}

// Source 0x99CC6633 over destination 0x663399FF (A8R8G8B8 target).
TEST_F(GlStages, EveryBlendFactorAndOperation) {
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
  m_device->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  auto blend = [&](DWORD src, DWORD dst, DWORD op) {
    m_device->SetRenderState(D3DRS_SRCBLEND, src);
    m_device->SetRenderState(D3DRS_DESTBLEND, dst);
    m_device->SetRenderState(D3DRS_BLENDOP, op);
    clear(0x663399FF);
    fullQuad(0x99CC6633);
    return pixel(3, 3);
  };
  struct Factor {
    DWORD factor;
    D3DCOLOR asSource, asDest;
  } factors[] = {
      {D3DBLEND_ZERO, 0x00000000, 0x00000000},        {D3DBLEND_ONE, 0x99CC6633, 0x663399FF},
      {D3DBLEND_SRCCOLOR, 0x5CA3290A, 0x3D293D33},    {D3DBLEND_INVSRCCOLOR, 0x3D293D29, 0x290A5CCC},
      {D3DBLEND_SRCALPHA, 0x5C7A3D1F, 0x3D1F5C99},    {D3DBLEND_INVSRCALPHA, 0x3D522914, 0x29143D66},
      {D3DBLEND_DESTALPHA, 0x3D522914, 0x29143D66},   {D3DBLEND_INVDESTALPHA, 0x5C7A3D1F, 0x3D1F5C99},
      {D3DBLEND_DESTCOLOR, 0x3D293D33, 0x290A5CFF},   {D3DBLEND_INVDESTCOLOR, 0x5CA32900, 0x3D293D00},
  };
  for (const Factor& f : factors) {
    EXPECT_THAT(blend(f.factor, D3DBLEND_ZERO, D3DBLENDOP_ADD), NearColor(f.asSource, 1)) << "src " << f.factor;
    EXPECT_THAT(blend(D3DBLEND_ZERO, f.factor, D3DBLENDOP_ADD), NearColor(f.asDest, 1)) << "dest " << f.factor;
  }
  EXPECT_THAT(blend(D3DBLEND_SRCALPHA, D3DBLEND_INVSRCALPHA, D3DBLENDOP_ADD), NearColor(0x858F7A85u, 1));
  EXPECT_THAT(blend(D3DBLEND_SRCALPHA, D3DBLEND_INVSRCALPHA, D3DBLENDOP_SUBTRACT), NearColor(0x33660000u, 1));
  EXPECT_THAT(blend(D3DBLEND_SRCALPHA, D3DBLEND_INVSRCALPHA, D3DBLENDOP_REVSUBTRACT), NearColor(0x00000047u, 1));
}

TEST_F(GlStages, TargetWithoutAlphaReadsDestinationAlphaAsOne) {
  DeviceOptions options;  // X8R8G8B8
  open(options);
  plainStates();
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  m_device->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
  m_device->SetRenderState(D3DRS_SRCBLEND, D3DBLEND_DESTALPHA);
  m_device->SetRenderState(D3DRS_DESTBLEND, D3DBLEND_INVDESTALPHA);
  clear(0x00336699);  // the alpha byte is not stored
  fullQuad(0xFFCC6633);
  EXPECT_EQ(pixel(3, 3), 0xFFCC6633u);
}

TEST_F(GlStages, AlphaTestComparesTheAlphaByteWithAlphaRef) {
  m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
  m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
  m_device->SetTextureStageState(0, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE);
  m_device->SetRenderState(D3DRS_ALPHATESTENABLE, TRUE);
  m_device->SetRenderState(D3DRS_ALPHAREF, 0xFFFFFF80);  // only the low byte counts
  struct Case {
    DWORD func;
    bool below, equal, above;  // alpha 0x7F, 0x80, 0x81 drawn?
  } cases[] = {
      {D3DCMP_NEVER, false, false, false},   {D3DCMP_LESS, true, false, false},
      {D3DCMP_EQUAL, false, true, false},    {D3DCMP_LESSEQUAL, true, true, false},
      {D3DCMP_GREATER, false, false, true},  {D3DCMP_NOTEQUAL, true, false, true},
      {D3DCMP_GREATEREQUAL, false, true, true}, {D3DCMP_ALWAYS, true, true, true},
  };
  for (const Case& c : cases) {
    m_device->SetRenderState(D3DRS_ALPHAFUNC, c.func);
    clear(0);
    screenQuad(0, 0, 4, 16, 0x7FFFFFFF);
    screenQuad(4, 0, 8, 16, 0x80FFFFFF);
    screenQuad(8, 0, 12, 16, 0x81FFFFFF);
    EXPECT_EQ(rgb(1, 1) != 0, c.below) << "func " << c.func;
    EXPECT_EQ(rgb(5, 1) != 0, c.equal) << "func " << c.func;
    EXPECT_EQ(rgb(9, 1) != 0, c.above) << "func " << c.func;
  }
  // Disabled, the function is ignored.
  m_device->SetRenderState(D3DRS_ALPHAFUNC, D3DCMP_NEVER);
  m_device->SetRenderState(D3DRS_ALPHATESTENABLE, FALSE);
  clear(0);
  fullQuad(0x7FFFFFFF);
  EXPECT_NE(rgb(1, 1), 0u);
}

TEST_F(GlStages, RepeatedStatesCompileNothingNew) {
  auto drawFrame = [&] {
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    m_device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
    fullQuad(0xFF00FF00);
    m_device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_MODULATE);
    m_device->SetRenderState(D3DRS_FOGENABLE, TRUE);
    fullQuad(0xFF00FF00);
    m_device->SetRenderState(D3DRS_FOGENABLE, FALSE);
  };
  const std::uint64_t before = m_device->compiledProgramCount();
  drawFrame();
  const std::uint64_t afterFirst = m_device->compiledProgramCount();
  EXPECT_EQ(afterFirst - before, 2u) << "two different state sets, two programs";
  drawFrame();
  drawFrame();
  EXPECT_EQ(m_device->compiledProgramCount(), afterFirst);
  // A value carried by a uniform is not part of the key.
  m_device->SetRenderState(D3DRS_TEXTUREFACTOR, 0xFF123456);
  m_device->SetRenderState(D3DRS_FOGCOLOR, 0xFF654321);
  drawFrame();
  EXPECT_EQ(m_device->compiledProgramCount(), afterFirst);
}

}  // namespace
}  // namespace gltest
