#include "platform/d3dx/D3DXMath.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr float kEps = 1e-5f;

void expectMatrixNear(const D3DXMATRIX& actual, const D3DXMATRIX& expected, float eps = kEps) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      EXPECT_NEAR(actual.m[i][j], expected.m[i][j], eps) << "element _" << i + 1 << j + 1;
}

void expectQuatNear(const D3DXQUATERNION& actual, const D3DXQUATERNION& expected, float eps = kEps) {
  EXPECT_NEAR(actual.x, expected.x, eps);
  EXPECT_NEAR(actual.y, expected.y, eps);
  EXPECT_NEAR(actual.z, expected.z, eps);
  EXPECT_NEAR(actual.w, expected.w, eps);
}

D3DXMATRIX matrixOf(const D3DXQUATERNION& q) {
  D3DXMATRIX m;
  return *D3DXMatrixRotationQuaternion(&m, &q);
}

D3DXQUATERNION axisAngle(float x, float y, float z, float angle) {
  const D3DXVECTOR3 axis(x, y, z);
  D3DXQUATERNION q;
  return *D3DXQuaternionRotationAxis(&q, &axis, angle);
}

}  // namespace

TEST(D3DXQuaternion, MatrixOfAxisQuaternionEqualsAxisRotationMatrix) {
  const D3DXVECTOR3 axes[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 2, -3}, {-0.5f, 0.25f, 4}};
  for (const D3DXVECTOR3& axis : axes) {
    for (float angle : {0.0f, 0.5f, -2.0f, 3.0f}) {
      D3DXQUATERNION q;
      D3DXQuaternionRotationAxis(&q, &axis, angle);
      EXPECT_NEAR(D3DXQuaternionLength(&q), 1.0f, kEps);
      D3DXMATRIX expected;
      D3DXMatrixRotationAxis(&expected, &axis, angle);
      expectMatrixNear(matrixOf(q), expected);
    }
  }
  // 90 degrees about x as the camera stores it: (sin 0.7853975, 0, 0, cos 0.7853975).
  D3DXMATRIX rx;
  D3DXMatrixRotationX(&rx, D3DX_PI / 2);
  expectMatrixNear(matrixOf({std::sin(0.7853975f), 0, 0, std::cos(0.7853975f)}), rx);
}

TEST(D3DXQuaternion, MatrixOfUnnormalisedQuaternionUsesTheFormulaAsIs) {
  // The scene builds local matrices from stored rotations without normalising.
  const D3DXMATRIX m = matrixOf({0, 0, 0, 2});
  expectMatrixNear(m, matrixOf({0, 0, 0, 1}));
  const D3DXMATRIX s = matrixOf({1, 0, 0, 1});
  EXPECT_FLOAT_EQ(s._11, 1.0f);
  EXPECT_FLOAT_EQ(s._22, -1.0f);  // 1 - 2x²
  EXPECT_FLOAT_EQ(s._23, 2.0f);   // 2(yz + xw)
  EXPECT_FLOAT_EQ(s._32, -2.0f);
}

TEST(D3DXQuaternion, MultiplyRotatesByFirstThenSecond) {
  const D3DXQUATERNION q1 = axisAngle(1, 0, 0, 0.7f), q2 = axisAngle(0, 1, 1, -1.1f);
  D3DXQUATERNION q;
  D3DXQuaternionMultiply(&q, &q1, &q2);
  expectMatrixNear(matrixOf(q), matrixOf(q1) * matrixOf(q2));
  expectQuatNear(q1 * q2, q);

  // Hand-computed: 90 degrees about x then 90 about y is the Hamilton
  // product qy qx = (1/2)(1, 1, -1, 1).
  const D3DXQUATERNION qx = axisAngle(1, 0, 0, D3DX_PI / 2), qy = axisAngle(0, 1, 0, D3DX_PI / 2);
  D3DXQuaternionMultiply(&q, &qx, &qy);
  expectQuatNear(q, {0.5f, 0.5f, -0.5f, 0.5f});

  // The shake controller's call: out aliases the second operand.
  D3DXQUATERNION rotation = q2;
  D3DXQuaternionMultiply(&rotation, &q1, &rotation);
  expectQuatNear(rotation, q1 * q2);
  rotation = q1;
  D3DXQuaternionMultiply(&rotation, &rotation, &q2);
  expectQuatNear(rotation, q1 * q2);
}

TEST(D3DXQuaternion, YawPitchRollMatchesTheMatrixVersion) {
  const float cases[][3] = {{0.4f, -0.9f, 1.3f}, {0, 0.5f, 0}, {1.0f, 0, 0}, {0, 0, -2.0f}, {3.0f, 1.2f, -0.4f}};
  for (const auto& c : cases) {
    D3DXQUATERNION q;
    D3DXQuaternionRotationYawPitchRoll(&q, c[0], c[1], c[2]);
    D3DXMATRIX m;
    D3DXMatrixRotationYawPitchRoll(&m, c[0], c[1], c[2]);
    expectMatrixNear(matrixOf(q), m);
  }
  // A single yaw is an axis rotation about y, with the same sign.
  D3DXQUATERNION yaw;
  D3DXQuaternionRotationYawPitchRoll(&yaw, 0.6f, 0, 0);
  expectQuatNear(yaw, axisAngle(0, 1, 0, 0.6f));
  D3DXQuaternionRotationYawPitchRoll(&yaw, 0, 0, 0.6f);
  expectQuatNear(yaw, axisAngle(0, 0, 1, 0.6f));
}

TEST(D3DXQuaternion, RotationMatrixRoundTripsInEveryBranch) {
  // Angles near pi exercise the branches where w is small.
  const D3DXQUATERNION cases[] = {axisAngle(1, 2, 3, 0.5f), axisAngle(1, 0.1f, 0.1f, 3.1f),
                                  axisAngle(0.1f, 1, 0.2f, 3.1f), axisAngle(0.1f, 0.2f, 1, 3.1f),
                                  axisAngle(0, 0, 1, D3DX_PI)};
  for (const D3DXQUATERNION& q : cases) {
    D3DXQUATERNION back;
    const D3DXMATRIX m = matrixOf(q);
    D3DXQuaternionRotationMatrix(&back, &m);
    // q and -q are the same rotation.
    if (D3DXQuaternionDot(&back, &q) < 0) back = -back;
    expectQuatNear(back, q, 1e-4f);
  }
}

TEST(D3DXQuaternion, SlerpEndpointsMidpointAndShortestArc) {
  const D3DXQUATERNION a = axisAngle(0, 1, 0, 0), b = axisAngle(0, 1, 0, D3DX_PI / 2);
  D3DXQUATERNION r;
  expectQuatNear(*D3DXQuaternionSlerp(&r, &a, &b, 0), a);
  expectQuatNear(*D3DXQuaternionSlerp(&r, &a, &b, 1), b);
  // Keys 90 degrees apart give the 45-degree rotation at s = 0.5, a unit
  // quaternion, which a component-wise blend would not give.
  D3DXQuaternionSlerp(&r, &a, &b, 0.5f);
  expectQuatNear(r, axisAngle(0, 1, 0, D3DX_PI / 4));
  EXPECT_NEAR(D3DXQuaternionLength(&r), 1.0f, kEps);
  D3DXQuaternionSlerp(&r, &a, &b, 0.25f);
  expectQuatNear(r, axisAngle(0, 1, 0, D3DX_PI / 8));

  // -b is the same rotation as b: slerp flips it and goes the short way,
  // landing on b's negation at t = 1.
  const D3DXQUATERNION negB = -b;
  D3DXQuaternionSlerp(&r, &a, &negB, 0.5f);
  expectQuatNear(r, axisAngle(0, 1, 0, D3DX_PI / 4));
  D3DXQuaternionSlerp(&r, &a, &negB, 1);
  expectQuatNear(r, b);

  // 350 degrees apart the short way is 10 degrees back.
  const D3DXQUATERNION c = axisAngle(0, 0, 1, D3DXToRadian(350));
  D3DXQuaternionSlerp(&r, &a, &c, 0.5f);
  expectQuatNear(r, axisAngle(0, 0, 1, D3DXToRadian(-5)));

  // Equal keys: no division by sin(0).
  D3DXQuaternionSlerp(&r, &b, &b, 0.3f);
  expectQuatNear(r, b);
  EXPECT_TRUE(std::isfinite(r.w));
}

TEST(D3DXQuaternion, NormalizeConjugateInverseAndIdentity) {
  D3DXQUATERNION q(1, 2, 2, 4), r;
  D3DXQuaternionNormalize(&r, &q);
  expectQuatNear(r, {0.2f, 0.4f, 0.4f, 0.8f});
  const D3DXQUATERNION zero(0, 0, 0, 0);
  EXPECT_EQ(*D3DXQuaternionNormalize(&r, &zero), zero);
  EXPECT_EQ(*D3DXQuaternionConjugate(&r, &q), D3DXQUATERNION(-1, -2, -2, 4));

  D3DXQuaternionInverse(&r, &q);
  D3DXQUATERNION product;
  D3DXQuaternionMultiply(&product, &q, &r);
  expectQuatNear(product, {0, 0, 0, 1});
  EXPECT_EQ(*D3DXQuaternionInverse(&r, &zero), zero);

  D3DXQuaternionIdentity(&r);
  EXPECT_TRUE(D3DXQuaternionIsIdentity(&r));
  EXPECT_FALSE(D3DXQuaternionIsIdentity(&q));
  D3DXMATRIX m;
  EXPECT_TRUE(D3DXMatrixIsIdentity(D3DXMatrixRotationQuaternion(&m, &r)));
}
