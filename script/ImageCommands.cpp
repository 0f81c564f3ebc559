// "loadimage", "createcolor", "freeimage".
#include "layers/ImageBlitter.h"
#include "script/Scripter.h"
#include "script/SlotCommands.h"

namespace {
// 1.0 or more gives 255, 0 or less gives 0, else the whole part of c * 255 + 0.5.
std::uint32_t colorByte(float c) {
  if (c >= 1.0f) return 255;
  if (c <= 0.0f) return 0;
  return std::uint32_t(c * 255.0f + 0.5f);
}
}  // namespace

bool LoadImage::Execute(float) {
  scripter->freeImageSlot(name);
  scripter->images[name] =
      new ImageBlitter(scripter->device, file.c_str(), scripter->width, scripter->height, false, 0xFFFFFFFFu);
  return true;
}

bool CreateColor::Execute(float) {
  scripter->freeImageSlot(name);
  const D3DCOLOR color = 0xFF000000u | colorByte(red) << 16 | colorByte(green) << 8 | colorByte(blue);
  scripter->images[name] = new ImageBlitter(scripter->device, "", scripter->width, scripter->height, true, color);
  return true;
}

bool FreeImage::Execute(float) {
  scripter->freeImageSlot(name);
  return true;
}
