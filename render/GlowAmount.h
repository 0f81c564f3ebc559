#pragma once
// The process-wide blur step of the glow pass (a fraction of the glow
// target's width per blur stage), set by the script; 0.007 until then.
extern float GlowAmount;
