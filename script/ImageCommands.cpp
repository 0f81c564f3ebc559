// "loadimage", "createcolor", "freeimage".
#include "script/ImageCommands.h"

#include "layers/ImageBlitter.h"
#include "platform/d3dx/D3DXMath.h"
#include "script/Scripter.h"

bool LoadImage::Execute(float) {
  scripter->freeImageSlot(name);
  scripter->images[name] =
      new ImageBlitter(scripter->device, file.c_str(), scripter->width, scripter->height, false, 0xFFFFFFFFu);
  return true;
}

bool CreateColor::Execute(float) {
  scripter->freeImageSlot(name);
  const D3DCOLOR color = 0xFF000000u | ColorChannelByte(red) << 16 | ColorChannelByte(green) << 8 | ColorChannelByte(blue);
  scripter->images[name] = new ImageBlitter(scripter->device, "", scripter->width, scripter->height, true, color);
  return true;
}

bool FreeImage::Execute(float) {
  scripter->freeImageSlot(name);
  return true;
}
