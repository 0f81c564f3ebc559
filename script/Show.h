#pragma once
// One show on one device: the frame that the player's loop, the offline
// renderer and the script fuzz target all run, so that they cannot drift
// apart. A frame is: clear the back buffer to black and the depth to 1,
// BeginScene, read the demo clock and run Scripter::Update, EndScene,
// Present. Advancing without drawing runs the same script step
// (Scripter::Advance) and makes no device call at all.
//
// The clock is the demo clock (DemoClock.h) in both kinds: on the wall
// clock's performance counter for the player, or on a counter the caller
// sets (virtual time) for renders and tests, where every read within a frame
// returns the time set for it.
#include "platform/gfx/Device.h"
#include "script/Scripter.h"

#include <functional>
#include <memory>

class Show {
 public:
  enum class Clock { Wall, Virtual };

  // The nominal screen every picture and movie is laid out on.
  static constexpr int kScreenWidth = 800, kScreenHeight = 600;

  // Takes over one reference to the device (released after the Scripter is
  // deleted, so that everything the script loaded goes first) and makes the
  // Scripter on it (which also starts the music system). A virtual clock
  // reads 0 until SetTime. Process-wide state that shows change (the glow
  // amount, the particle generator) is put back to the process's start.
  Show(IDirect3DDevice9* device, Clock clock);
  ~Show();
  Show(const Show&) = delete;
  Show& operator=(const Show&) = delete;

  // Parses the script (Scripter::LoadScript at base time 0), then starts the
  // clock: show time 0 is the moment right after parsing on the wall clock,
  // counter 0 on a virtual one.
  void Start(const char* scriptFile);

  // Virtual clock only: every clock read returns `ms` (whole ms, truncated:
  // the demo clock counts whole ms) until the next call.
  void SetTime(double ms);

  // One frame; with draw false, the script's step alone. True once the
  // script has ended (the frame is still presented, as the player does).
  // A tool's own drawing (a preview's overlay) goes in overDraw, run after
  // the show's frame and before EndScene; it is not run when draw is false.
  bool Frame(bool draw = true, const std::function<void()>& overDraw = {});

  Scripter* scripter() const { return m_scripter.get(); }
  IDirect3DDevice9* device() const { return m_device; }

 private:
  IDirect3DDevice9* m_device;
  Clock m_clock;
  std::unique_ptr<Scripter> m_scripter;
};
