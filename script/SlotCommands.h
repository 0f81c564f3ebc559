#pragma once
// The slot command groups together: images and colours, music streams and
// movies (each group's own header names its commands).
#include "script/FlashCommands.h"
#include "script/ImageCommands.h"
#include "script/MusicCommands.h"
