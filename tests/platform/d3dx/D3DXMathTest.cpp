#include "platform/d3dx/D3DXMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

constexpr float kEps = 1e-5f;

void expectMatrixNear(const D3DXMATRIX& actual, const D3DXMATRIX& expected, float eps = kEps) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      EXPECT_NEAR(actual.m[i][j], expected.m[i][j], eps) << "element _" << i + 1 << j + 1;
}

void expectVectorNear(const D3DXVECTOR3& actual, const D3DXVECTOR3& expected, float eps = kEps) {
  EXPECT_NEAR(actual.x, expected.x, eps);
  EXPECT_NEAR(actual.y, expected.y, eps);
  EXPECT_NEAR(actual.z, expected.z, eps);
}

D3DXMATRIX identity() {
  D3DXMATRIX m;
  return *D3DXMatrixIdentity(&m);
}

D3DXVECTOR3 transformPoint(const D3DXVECTOR3& p, const D3DXMATRIX& m) {
  D3DXVECTOR3 r;
  return *D3DXVec3TransformCoord(&r, &p, &m);
}

}  // namespace

TEST(D3DXMatrix, LayoutAndAccessorsFollowRowMajorD3DOrder) {
  const D3DXMATRIX m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
  EXPECT_EQ(m._12, 2.0f);
  EXPECT_EQ(m._41, 13.0f);
  EXPECT_EQ(m(3, 1), 14.0f);
  EXPECT_EQ(static_cast<const float*>(m)[6], 7.0f);
  EXPECT_EQ(D3DXMATRIX(static_cast<const float*>(m)), m);
  D3DXMATRIX t;
  D3DXMatrixTranspose(&t, &m);
  EXPECT_EQ(t._12, 5.0f);
  EXPECT_EQ(t._41, 4.0f);
  EXPECT_TRUE(D3DXMatrixIsIdentity(&*D3DXMatrixIdentity(&t)));
}

TEST(D3DXMatrix, MultiplyAppliesLeftOperandFirstForRowVectors) {
  // world = local x parent: scale by 2, then translate by (10, 0, 0).
  D3DXMATRIX scale, translate, world;
  D3DXMatrixScaling(&scale, 2, 2, 2);
  D3DXMatrixTranslation(&translate, 10, 0, 0);
  D3DXMatrixMultiply(&world, &scale, &translate);
  expectVectorNear(transformPoint({1, 1, 1}, world), {12, 2, 2});
  EXPECT_EQ(world, scale * translate);
  expectVectorNear(transformPoint({1, 1, 1}, translate * scale), {22, 2, 2});

  const D3DXMATRIX a(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
  const D3DXMATRIX b(2, 0, 1, 0, 0, 1, 0, 3, 1, 0, 0, 1, 0, 2, 1, 0);
  // Hand-computed first and last rows of a x b.
  const D3DXMATRIX ab = a * b;
  EXPECT_EQ(ab._11, 1 * 2 + 3 * 1);
  EXPECT_EQ(ab._12, 2 * 1 + 4 * 2);
  EXPECT_EQ(ab._13, 1 * 1 + 4 * 1);
  EXPECT_EQ(ab._14, 2 * 3 + 3 * 1);
  EXPECT_EQ(ab._44, 14 * 3 + 15 * 1);

  D3DXMATRIX aliased = a;
  D3DXMatrixMultiply(&aliased, &aliased, &b);
  EXPECT_EQ(aliased, ab);
  aliased = b;
  D3DXMatrixMultiply(&aliased, &a, &aliased);
  EXPECT_EQ(aliased, ab);

  D3DXMATRIX mt;
  D3DXMatrixMultiplyTranspose(&mt, &a, &b);
  EXPECT_EQ(mt._41, ab._14);
}

TEST(D3DXMatrix, InverseTimesMatrixIsIdentityAndReportsDeterminant) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> dist(-3.0f, 3.0f);
  for (int n = 0; n < 50; ++n) {
    D3DXMATRIX m;
    for (int i = 0; i < 16; ++i) static_cast<float*>(m)[i] = dist(rng);
    float det = 0;
    D3DXMATRIX inv;
    ASSERT_EQ(D3DXMatrixInverse(&inv, &det, &m), &inv);
    if (std::fabs(det) < 0.5f) continue;  // badly conditioned: skip the tight check
    expectMatrixNear(inv * m, identity(), 1e-4f);
    expectMatrixNear(m * inv, identity(), 1e-4f);
    EXPECT_NEAR(det, D3DXMatrixDeterminant(&m), std::fabs(det) * 1e-5f);
  }

  D3DXMATRIX diag;
  D3DXMatrixScaling(&diag, 2, 4, 0.5f);
  diag._44 = 3;
  float det = 0;
  D3DXMATRIX inv;
  D3DXMatrixInverse(&inv, &det, &diag);
  EXPECT_FLOAT_EQ(det, 12.0f);
  EXPECT_FLOAT_EQ(inv._22, 0.25f);
  EXPECT_FLOAT_EQ(inv._33, 2.0f);

  // Rigid transform: the inverse undoes the rotation and the translation (the
  // camera's view matrix is built this way).
  D3DXMATRIX rot, trans, rigid;
  D3DXMatrixRotationY(&rot, 0.7f);
  D3DXMatrixTranslation(&trans, 3, -2, 5);
  rigid = rot * trans;
  D3DXMatrixInverse(&inv, nullptr, &rigid);
  expectVectorNear(transformPoint(transformPoint({1, 2, 3}, rigid), inv), {1, 2, 3});
  D3DXMatrixInverse(&rigid, nullptr, &rigid);  // in place
  EXPECT_EQ(rigid, inv);
}

TEST(D3DXMatrix, InverseOfSingularMatrixReturnsNullAndLeavesOutput) {
  D3DXMATRIX m, out;
  D3DXMatrixScaling(&m, 1, 0, 1);
  D3DXMatrixTranslation(&out, 7, 8, 9);
  const D3DXMATRIX before = out;
  float det = 5;
  EXPECT_EQ(D3DXMatrixInverse(&out, &det, &m), nullptr);
  EXPECT_EQ(det, 0.0f);
  EXPECT_EQ(out, before);

  const D3DXMATRIX dependentRows(1, 2, 3, 4, 2, 4, 6, 8, 0, 1, 0, 1, 5, 0, 0, 1);
  EXPECT_EQ(D3DXMatrixInverse(&out, nullptr, &dependentRows), nullptr);
}

TEST(D3DXMatrix, AxisRotationsAreLeftHanded) {
  D3DXMATRIX m;
  // Looking down +y from above in a left-handed frame, +z turns to +x.
  D3DXMatrixRotationY(&m, D3DX_PI / 2);
  expectVectorNear(transformPoint({0, 0, 1}, m), {1, 0, 0});
  D3DXMatrixRotationX(&m, D3DX_PI / 2);
  expectVectorNear(transformPoint({0, 1, 0}, m), {0, 0, 1});
  EXPECT_FLOAT_EQ(m._23, 1.0f);
  D3DXMatrixRotationZ(&m, D3DX_PI / 2);
  expectVectorNear(transformPoint({1, 0, 0}, m), {0, 1, 0});
  EXPECT_FLOAT_EQ(m._12, 1.0f);

  D3DXMATRIX axis;
  for (float angle : {0.3f, -1.2f, 2.5f}) {
    D3DXMatrixRotationX(&m, angle);
    const D3DXVECTOR3 x(5, 0, 0);  // the axis need not be unit length
    expectMatrixNear(*D3DXMatrixRotationAxis(&axis, &x, angle), m);
    D3DXMatrixRotationY(&m, angle);
    const D3DXVECTOR3 y(0, 2, 0);
    expectMatrixNear(*D3DXMatrixRotationAxis(&axis, &y, angle), m);
    D3DXMatrixRotationZ(&m, angle);
    const D3DXVECTOR3 z(0, 0, 0.1f);
    expectMatrixNear(*D3DXMatrixRotationAxis(&axis, &z, angle), m);
  }
}

TEST(D3DXMatrix, YawPitchRollIsRollThenPitchThenYaw) {
  const float yaw = 0.4f, pitch = -0.9f, roll = 1.3f;
  D3DXMATRIX rx, ry, rz, ypr;
  D3DXMatrixRotationX(&rx, pitch);
  D3DXMatrixRotationY(&ry, yaw);
  D3DXMatrixRotationZ(&rz, roll);
  D3DXMatrixRotationYawPitchRoll(&ypr, yaw, pitch, roll);
  expectMatrixNear(ypr, rz * rx * ry);
}

TEST(D3DXMatrix, PerspectiveFovLHEntriesAndDepthRange) {
  D3DXMATRIX p;
  const float fov = D3DX_PI / 3, aspect = 4.0f / 3.0f, zn = 1.0f, zf = 101.0f;
  D3DXMatrixPerspectiveFovLH(&p, fov, aspect, zn, zf);
  const float yScale = 1.0f / std::tan(fov / 2);
  EXPECT_FLOAT_EQ(p._22, yScale);
  EXPECT_FLOAT_EQ(p._11, yScale / aspect);
  EXPECT_FLOAT_EQ(p._33, zf / (zf - zn));
  EXPECT_FLOAT_EQ(p._34, 1.0f);
  EXPECT_FLOAT_EQ(p._43, -zn * zf / (zf - zn));
  EXPECT_EQ(p._44, 0.0f);
  EXPECT_EQ(p._12, 0.0f);
  EXPECT_EQ(p._41, 0.0f);
  // Depth 0 at the near plane, 1 at the far plane, in front of the eye (+z).
  EXPECT_NEAR(transformPoint({0, 0, zn}, p).z, 0.0f, kEps);
  EXPECT_NEAR(transformPoint({0, 0, zf}, p).z, 1.0f, kEps);
  // The top edge of the field of view maps to y = 1.
  EXPECT_NEAR(transformPoint({0, std::tan(fov / 2) * 10, 10}, p).y, 1.0f, kEps);
}

TEST(D3DXMatrix, OrthoProjectionsMapTheirBoxToClipSpace) {
  D3DXMATRIX o;
  D3DXMatrixOrthoLH(&o, 2, 2, 0, 1);
  expectMatrixNear(o, identity());

  D3DXMatrixOrthoLH(&o, 8, 4, 1, 5);
  expectVectorNear(transformPoint({4, -2, 1}, o), {1, -1, 0});
  expectVectorNear(transformPoint({-4, 2, 5}, o), {-1, 1, 1});

  // The image layers' screen projection: pixel (0, 0) bottom-left, y up.
  D3DXMatrixOrthoOffCenterLH(&o, 0, 800, 0, 600, 0, 1);
  EXPECT_FLOAT_EQ(o._11, 2.0f / 800);
  EXPECT_FLOAT_EQ(o._41, -1.0f);
  EXPECT_FLOAT_EQ(o._42, -1.0f);
  expectVectorNear(transformPoint({0, 0, 0}, o), {-1, -1, 0});
  expectVectorNear(transformPoint({800, 600, 1}, o), {1, 1, 1});
  expectVectorNear(transformPoint({400, 150, 0.5f}, o), {0, -0.5f, 0.5f});
}

TEST(D3DXMatrix, LookAtLHPutsTargetOnPositiveZ) {
  const D3DXVECTOR3 eye(1, 2, -10), at(1, 2, 0), up(0, 1, 0);
  D3DXMATRIX v;
  D3DXMatrixLookAtLH(&v, &eye, &at, &up);
  expectVectorNear(transformPoint(at, v), {0, 0, 10});
  expectVectorNear(transformPoint(eye, v), {0, 0, 0});
  expectVectorNear(transformPoint({2, 3, -10}, v), {1, 1, 0});  // right and up stay right and up

  const D3DXVECTOR3 eye2(5, 0, 0), origin(0, 0, 0);
  D3DXMatrixLookAtLH(&v, &eye2, &origin, &up);
  expectVectorNear(transformPoint(origin, v), {0, 0, 5});
  expectVectorNear(transformPoint({0, 0, 1}, v), {1, 0, 5});  // looking down -x, +z is to the right
}

TEST(D3DXVector, TransformsTreatPointsAndNormalsDifferently) {
  D3DXMATRIX m;
  D3DXMatrixScaling(&m, 2, 3, 4);
  m._41 = 10;
  m._42 = 20;
  m._43 = 30;
  const D3DXVECTOR3 v(1, 1, 1);
  D3DXVECTOR3 r;
  expectVectorNear(*D3DXVec3TransformNormal(&r, &v, &m), {2, 3, 4});
  expectVectorNear(*D3DXVec3TransformCoord(&r, &v, &m), {12, 23, 34});
  D3DXVECTOR4 r4;
  D3DXVec3Transform(&r4, &v, &m);
  EXPECT_EQ(r4, D3DXVECTOR4(12, 23, 34, 1));

  // TransformCoord divides by w.
  m._44 = 2;
  expectVectorNear(*D3DXVec3TransformCoord(&r, &v, &m), {6, 11.5f, 17});
  const D3DXVECTOR4 v4(1, 1, 1, 0);
  D3DXVec4Transform(&r4, &v4, &m);
  EXPECT_EQ(r4, D3DXVECTOR4(2, 3, 4, 0));

  D3DXVECTOR2 r2;
  const D3DXVECTOR2 v2(1, 2);
  D3DXVec2TransformCoord(&r2, &v2, &m);
  EXPECT_EQ(r2, D3DXVECTOR2(6, 13));
  D3DXVec2TransformNormal(&r2, &v2, &m);
  EXPECT_EQ(r2, D3DXVECTOR2(2, 6));
}

TEST(D3DXVector, ArithmeticCrossDotLengthAndLerp) {
  const D3DXVECTOR3 x(1, 0, 0), y(0, 1, 0);
  D3DXVECTOR3 r;
  EXPECT_EQ(*D3DXVec3Cross(&r, &x, &y), D3DXVECTOR3(0, 0, 1));
  const D3DXVECTOR3 a(1, 2, 3), b(4, -5, 6);
  EXPECT_EQ(*D3DXVec3Cross(&r, &a, &b), D3DXVECTOR3(27, 6, -13));
  EXPECT_EQ(D3DXVec3Dot(&a, &b), 12.0f);
  EXPECT_EQ(D3DXVec3LengthSq(&a), 14.0f);
  EXPECT_FLOAT_EQ(D3DXVec3Length(&a), std::sqrt(14.0f));
  EXPECT_EQ(*D3DXVec3Lerp(&r, &a, &b, 0.5f), D3DXVECTOR3(2.5f, -1.5f, 4.5f));
  EXPECT_EQ(*D3DXVec3Add(&r, &a, &b), D3DXVECTOR3(5, -3, 9));
  EXPECT_EQ(*D3DXVec3Subtract(&r, &a, &b), D3DXVECTOR3(-3, 7, -3));
  EXPECT_EQ(*D3DXVec3Scale(&r, &a, 2), D3DXVECTOR3(2, 4, 6));
  EXPECT_EQ(*D3DXVec3Minimize(&r, &a, &b), D3DXVECTOR3(1, -5, 3));
  EXPECT_EQ(*D3DXVec3Maximize(&r, &a, &b), D3DXVECTOR3(4, 2, 6));
  EXPECT_EQ(2.0f * a - b / 2.0f, D3DXVECTOR3(0, 6.5f, 3));
  r = a;
  D3DXVec3Cross(&r, &r, &b);  // aliased output
  EXPECT_EQ(r, D3DXVECTOR3(27, 6, -13));

  const D3DXVECTOR2 p(3, 4), q(1, 0);
  D3DXVECTOR2 r2;
  EXPECT_EQ(D3DXVec2Length(&p), 5.0f);
  EXPECT_EQ(D3DXVec2Dot(&p, &q), 3.0f);
  EXPECT_EQ(*D3DXVec2Normalize(&r2, &p), D3DXVECTOR2(0.6f, 0.8f));
  EXPECT_EQ(*D3DXVec2Lerp(&r2, &p, &q, 0.25f), D3DXVECTOR2(2.5f, 3));
}

TEST(D3DXVector, NormalizeGivesUnitLengthAndZeroForZero) {
  const D3DXVECTOR3 v(3, 0, 4), zero(0, 0, 0);
  D3DXVECTOR3 r;
  expectVectorNear(*D3DXVec3Normalize(&r, &v), {0.6f, 0, 0.8f});
  EXPECT_EQ(*D3DXVec3Normalize(&r, &zero), D3DXVECTOR3(0, 0, 0));
  const D3DXVECTOR4 v4(0, 0, 0, 0);
  D3DXVECTOR4 r4;
  EXPECT_EQ(*D3DXVec4Normalize(&r4, &v4), D3DXVECTOR4(0, 0, 0, 0));
  const D3DXVECTOR2 z2(0, 0);
  D3DXVECTOR2 r2;
  EXPECT_EQ(*D3DXVec2Normalize(&r2, &z2), D3DXVECTOR2(0, 0));
}

TEST(D3DXPlane, NormalizeDotAndFromPoints) {
  const D3DXPLANE p(0, 3, 4, 10);
  D3DXPLANE n;
  D3DXPlaneNormalize(&n, &p);
  EXPECT_FLOAT_EQ(n.b, 0.6f);
  EXPECT_FLOAT_EQ(n.c, 0.8f);
  EXPECT_FLOAT_EQ(n.d, 2.0f);
  const D3DXVECTOR3 point(1, 5, 0);
  EXPECT_FLOAT_EQ(D3DXPlaneDotCoord(&n, &point), 5.0f);  // signed distance
  EXPECT_FLOAT_EQ(D3DXPlaneDotNormal(&n, &point), 3.0f);
  const D3DXPLANE zero(0, 0, 0, 1);
  EXPECT_EQ(*D3DXPlaneNormalize(&n, &zero), D3DXPLANE(0, 0, 0, 0));

  // Three points on y = 2; their order picks the normal's side.
  const D3DXVECTOR3 a(0, 2, 0), b(0, 2, 1), c(1, 2, 0);
  D3DXPlaneFromPoints(&n, &a, &b, &c);
  EXPECT_NEAR(n.a, 0, kEps);
  EXPECT_NEAR(n.b, 1, kEps);
  EXPECT_NEAR(n.c, 0, kEps);
  EXPECT_NEAR(n.d, -2, kEps);
  D3DXPlaneFromPoints(&n, &a, &c, &b);
  EXPECT_NEAR(n.b, -1, kEps);
}

TEST(D3DXPlane, FrustumPlanesFromViewProjectionColumnsKeepInsidePositive) {
  // The camera's recipe: planes from the columns of view x projection.
  D3DXMATRIX view, proj, vp;
  const D3DXVECTOR3 eye(0, 0, -5), at(0, 0, 0), up(0, 1, 0);
  D3DXMatrixLookAtLH(&view, &eye, &at, &up);
  D3DXMatrixPerspectiveFovLH(&proj, D3DX_PI / 2, 1.0f, 1.0f, 100.0f);
  vp = view * proj;
  auto column = [&](int c) { return D3DXPLANE(vp.m[0][c], vp.m[1][c], vp.m[2][c], vp.m[3][c]); };
  const D3DXPLANE c1 = column(0), c2 = column(1), c3 = column(2), c4 = column(3);
  const D3DXPLANE planes[6] = {
      {c4.a + c1.a, c4.b + c1.b, c4.c + c1.c, c4.d + c1.d}, {c4.a - c1.a, c4.b - c1.b, c4.c - c1.c, c4.d - c1.d},
      {c4.a - c2.a, c4.b - c2.b, c4.c - c2.c, c4.d - c2.d}, {c4.a + c2.a, c4.b + c2.b, c4.c + c2.c, c4.d + c2.d},
      c3,                                                   {c4.a - c3.a, c4.b - c3.b, c4.c - c3.c, c4.d - c3.d}};
  const D3DXVECTOR3 inside(0, 0, 0), behind(0, 0, -10), farAway(0, 0, 200), left(-20, 0, 0);
  for (const D3DXPLANE& raw : planes) {
    D3DXPLANE p;
    D3DXPlaneNormalize(&p, &raw);
    EXPECT_GT(D3DXPlaneDotCoord(&p, &inside), 0.0f);
  }
  D3DXPLANE nearPlane, farPlane, leftPlane;
  D3DXPlaneNormalize(&nearPlane, &planes[4]);
  D3DXPlaneNormalize(&farPlane, &planes[5]);
  D3DXPlaneNormalize(&leftPlane, &planes[0]);
  EXPECT_NEAR(D3DXPlaneDotCoord(&nearPlane, &inside), 4.0f, 1e-4f);  // 5 from the eye, near at 1
  EXPECT_LT(D3DXPlaneDotCoord(&nearPlane, &behind), 0.0f);
  EXPECT_LT(D3DXPlaneDotCoord(&farPlane, &farAway), 0.0f);
  EXPECT_LT(D3DXPlaneDotCoord(&leftPlane, &left), 0.0f);
}

TEST(D3DXColor, ConvertsToAndFromPackedArgb) {
  const D3DXCOLOR c(0xFF804000u);
  EXPECT_FLOAT_EQ(c.a, 1.0f);
  EXPECT_FLOAT_EQ(c.r, 128.0f / 255.0f);
  EXPECT_FLOAT_EQ(c.g, 64.0f / 255.0f);
  EXPECT_EQ(c.b, 0.0f);
  EXPECT_EQ(static_cast<D3DCOLOR>(c), 0xFF804000u);

  // Clamped, rounded half up: 0.5 x 255 + 0.5 = 128.
  EXPECT_EQ(static_cast<D3DCOLOR>(D3DXCOLOR(2.0f, -1.0f, 0.5f, 0.999f)), 0xFFFF0080u);
  EXPECT_EQ(static_cast<D3DCOLOR>(D3DXCOLOR(0.001f, 0.0f, 1.0f, 0.0f)), 0x000000FFu);

  const D3DCOLORVALUE value{0.25f, 0.5f, 0.75f, 1.0f};
  D3DXCOLOR fromValue(value);
  const D3DCOLORVALUE& back = fromValue;
  EXPECT_EQ(back.g, 0.5f);
  const D3DCOLORVALUE* asValue = &fromValue;
  EXPECT_EQ(asValue->b, 0.75f);

  D3DXCOLOR r;
  const D3DXCOLOR black(0, 0, 0, 0), white(1, 1, 1, 1);
  EXPECT_EQ(*D3DXColorLerp(&r, &black, &white, 0.25f), D3DXCOLOR(0.25f, 0.25f, 0.25f, 0.25f));
  EXPECT_EQ(*D3DXColorModulate(&r, &fromValue, &fromValue), D3DXCOLOR(0.0625f, 0.25f, 0.5625f, 1.0f));
  EXPECT_EQ(*D3DXColorNegative(&r, &fromValue), D3DXCOLOR(0.75f, 0.5f, 0.25f, 1.0f));
  EXPECT_EQ(D3DXToRadian(180.0f), D3DX_PI);
  EXPECT_FLOAT_EQ(D3DXToDegree(D3DX_PI / 2), 90.0f);
}
