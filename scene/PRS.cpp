#include "scene/PRS.h"

void PRSLocalMatrix(const PRS& prs, D3DXMATRIX* local) {
  D3DXMATRIX s;
  D3DXMatrixIdentity(&s);
  s._11 = prs.scale.x;
  s._22 = prs.scale.y;
  s._33 = prs.scale.z;
  D3DXMATRIX r;
  D3DXMatrixRotationQuaternion(&r, &prs.rotation);
  D3DXMatrixMultiply(local, &s, &r);
  local->_41 = prs.position.x;
  local->_42 = prs.position.y;
  local->_43 = prs.position.z;
}
