#include "render/GlowAmount.h"

float GlowAmount = 0.007f;
