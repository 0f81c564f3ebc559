#pragma once
// The show's interpreter and the owner of everything the script loads: the
// item list and its position, the named slots (scenes, movies, music streams,
// images and colours), the numbered 2D layers, and the time bases.
//
// Time bases, in float ms:
//   script time t        = clock - timeOffset
//   current scene's time = (t - sceneStart) * sceneSpeed
//   cross-fade target    = (t - xfadeStart + xfadeOffset) * xfadeSpeed
//   layer motion uses t directly.
#include "platform/gfx/Device.h"
#include "script/ScriptItem.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class SceneGraph;
class FlashPlayer;

// What the parser tells a checking tool; the player has none. With an
// observer, a line the player would refuse is handed to it and parsing goes
// on with the next line, instead of the message box and the end of the
// process. Lines: 1-based, every line feed counted (an editor's count).
class ScriptParseObserver {
 public:
  virtual ~ScriptParseObserver() = default;
  // A script file was asked for; found is false when it is neither in the
  // archive nor on disk (the player skips it silently). includedFrom is
  // empty for the first script.
  virtual void scriptFile(const std::string& file, bool found, const std::string& includedFrom, int line) = 0;
  // The player's own message for a refused line (an unknown command, an
  // include that would never end).
  virtual void refusedLine(const std::string& file, int line, const std::string& text, const std::string& message) = 0;
};

// The script's keywords, "include" among them, in no particular order.
std::vector<std::string> ScriptKeywords();
class MP3Player;
class ImageBlitter;

struct LayerRecord {
  ImageBlitter* image = nullptr;  // an entry of the images map, not owned
  bool additive = false;
  float x = 0, y = 0;             // drawn in the next draw, virtual-screen pixels
  float alpha = 1.0f;             // drawn (clamped to [0, 1]) in the next draw
  float xSpeed = 0, ySpeed = 0;   // pixels per second
  float alphaSpeed = 0;           // per second
  float posStart = 0;             // script time (ms) the position motion started
  float alphaStart = 0;           // script time (ms) the opacity change started
  float baseX = 0, baseY = 0;     // position at posStart
  float baseAlpha = 1.0f;         // opacity at alphaStart
};

class Scripter {
 public:
  // width, height: the nominal screen (800 x 600) every image and movie uses.
  Scripter(IDirect3DDevice9* device, int width, int height);
  virtual ~Scripter();
  Scripter(const Scripter&) = delete;
  Scripter& operator=(const Scripter&) = delete;

  // Parses one script file and appends its items; baseTime (ms) is added to
  // every time and duration argument of the file.
  void LoadScript(const char* fileName, float baseTime);

  // Runs the due commands, draws the layers below the scene, the scene (or
  // the cross-fade), the layers above. True once every item has run.
  bool Update(float clock);
  // The same frame without drawing: the same commands with the same clock
  // readings, layer motion, sequence steps, scene times (controllers, camera
  // switches, shakes) and the end of a cross-fade, and no device call. A
  // frame after any number of these draws what it would after as many
  // Updates, but for render states that earlier draws left on the device.
  bool Advance(float clock);

  // Slot and layer housekeeping shared by the commands.
  void removeLayersShowing(const ImageBlitter* image);
  void freeImageSlot(const std::string& name);
  void freeMusicSlot(const std::string& name);
  void freeFlashSlot(const std::string& name);
  void freeSceneSlot(const std::string& name);

  IDirect3DDevice9* device;  // not owned
  std::vector<std::unique_ptr<ScriptItem>> items;
  std::uint32_t current = 0;  // next item to execute
  float sceneStart = 0;
  float flashStart = 0;
  float timeOffset = 0;
  std::map<std::string, SceneGraph*> scenes;     // owned
  std::map<std::string, FlashPlayer*> flashes;   // owned
  std::map<std::string, MP3Player*> musics;      // owned; closed before deletion
  std::map<std::string, ImageBlitter*> images;   // owned; colours too
  int width, height;
  float sceneSpeed = 1.0f;
  SceneGraph* currentScene = nullptr;
  FlashPlayer* currentFlash = nullptr;
  MP3Player* currentMusic = nullptr;
  std::map<std::int32_t, LayerRecord> layers;
  bool xfadeActive = false;
  SceneGraph* xfadeTarget = nullptr;
  float xfadeStart = 0;
  float xfadeOffset = 0;
  float xfadeDuration = 0;
  float xfadeSpeed = 1.0f;
  IDirect3DTexture9* xfadeTexture = nullptr;  // 512 x 512 render target
  IDirect3DSurface9* xfadeDepth = nullptr;    // 512 x 512 depth-stencil
  ScriptParseObserver* parseObserver = nullptr;  // not owned; null in the player

 private:
  void loadScriptFile(const char* fileName, float baseTime);
  bool frame(float clock, bool draw);
  void drawLayer(LayerRecord& layer, float t, bool draw);
  void drawScene(float t, bool draw);

  // Names of the script files being parsed, outermost first: an include of
  // one of them would never end, and is refused.
  std::vector<std::string> m_openScripts;
  int m_includeLine = 0;  // editor's line of the "include" being followed, for the observer
};
