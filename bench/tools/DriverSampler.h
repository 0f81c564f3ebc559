#pragma once
// A wall-clock stack sampler that tells how much of one thread's time is
// spent inside the OpenGL driver.
//
// Between start() and stop(), a helper thread interrupts the thread that
// called start() every `period` (SIGPROF sent to that thread alone); the
// signal handler records the interrupted stack (glibc backtrace(), which
// unwinds through the signal frame). The helper sorts each stack as it comes
// in:
//   driver   any frame lies in a shared object of the OpenGL stack (the GL,
//            EGL and GLX dispatch libraries, libepoxy, Mesa's libraries and
//            DRI drivers, LLVM), or in executable memory that belongs to no
//            loaded object (the driver's JIT-compiled shaders; the unwinder
//            cannot step past those, so they end the stack);
//   outside  every other stack: our code, SDL, libc, libpng, mpg123...
// Wall-clock samples include the time the thread waits: a thread blocked in
// the driver for the rasterizer threads counts as inside the driver, a thread
// blocked on a file write as outside.
//
// Only one sampler may run at a time in a process; the SIGPROF handler stays
// installed once the first sampler starts. The handler unwinds with libgcc,
// which takes a lock while the driver's JIT registers unwind tables (held
// back, DriverSampler.cpp) and while a C++ exception is thrown: the sampled
// code must not throw while sampled.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <unordered_map>

class DriverSampler {
 public:
  explicit DriverSampler(std::chrono::microseconds period = std::chrono::microseconds(1000));
  ~DriverSampler();
  DriverSampler(const DriverSampler&) = delete;
  DriverSampler& operator=(const DriverSampler&) = delete;

  // Samples the calling thread until stop(); counts add up over runs.
  // False (with *error) when sampling cannot be set up.
  bool start(std::string* error);
  void stop();

  std::int64_t samples() const { return m_samples; }
  std::int64_t driverSamples() const { return m_driverSamples; }
  // Samples lost because the handler's buffer was full (the helper fell behind).
  std::int64_t dropped() const;
  // driverSamples / samples, 0 when there are none.
  double driverShare() const;

  // Whether a shared object's path names part of the OpenGL stack.
  static bool isDriverObject(const std::string& path);

 private:
  void run(int pid, int tid);
  void drain();
  bool isDriverAddress(void* address);

  std::chrono::microseconds m_period;
  std::thread m_thread;
  std::atomic<bool> m_stop{false};
  std::int64_t m_samples = 0;
  std::int64_t m_driverSamples = 0;
  std::unordered_map<const void*, bool> m_objects;  // object base -> driver
};
