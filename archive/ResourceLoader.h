#pragma once
// The whole-file loader the scene, texture and image loaders share: open by
// name, take the size by seeking to the end, read everything, close.
// A missing file is fatal: an "Error" box with the loader's own message (the
// name formatted in with %s), then the process ends with exit code 0.
#include <cstdint>

// Message formats of the loaders.
constexpr const char* kSceneFileMissing = "Couldn't open file: %s";
constexpr const char* kSceneFileShortRead = "Error reading file to memory!";
constexpr const char* kImageFileMissing = "Image load failed: %s";
constexpr const char* kTextureFileMissing = "Texture load failed: %s";

// Returns the contents (std::malloc'd; the caller frees them) and their size.
// When requireComplete is set, reading fewer bytes than the size is fatal
// too, with kSceneFileShortRead.
unsigned char* LoadWholeResource(const char* name, const char* missingFormat, std::int32_t* outSize,
                                 bool requireComplete);
