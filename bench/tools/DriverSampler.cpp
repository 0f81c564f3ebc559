#include "bench/tools/DriverSampler.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace {

constexpr int kDepth = 64;    // frames kept per sample
constexpr unsigned kRing = 256;  // samples the handler can hold before the helper reads them

struct Sample {
  int depth;
  void* frames[kDepth];
};

// Single producer (the signal handler on the sampled thread), single
// consumer (the helper thread).
Sample g_ring[kRing];
std::atomic<std::uint32_t> g_head{0};
std::atomic<std::uint32_t> g_tail{0};
std::atomic<std::int64_t> g_dropped{0};

void onSample(int, siginfo_t*, void*) {
  const int savedErrno = errno;
  const std::uint32_t head = g_head.load(std::memory_order_relaxed);
  if (head - g_tail.load(std::memory_order_acquire) < kRing) {
    Sample& sample = g_ring[head % kRing];
    sample.depth = backtrace(sample.frames, kDepth);
    g_head.store(head + 1, std::memory_order_release);
  } else {
    g_dropped.fetch_add(1, std::memory_order_relaxed);
  }
  errno = savedErrno;
}

bool installHandler(std::string* error) {
  static bool installed = false;
  if (installed) return true;
  // backtrace() loads the unwinder on its first call, which allocates: do it
  // here rather than in the handler.
  void* warm[4];
  backtrace(warm, 4);
  struct sigaction action {};
  action.sa_sigaction = onSample;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigemptyset(&action.sa_mask);
  if (sigaction(SIGPROF, &action, nullptr) != 0) {
    *error = std::string("cannot install the SIGPROF handler: ") + std::strerror(errno);
    return false;
  }
  installed = true;
  return true;
}

}  // namespace

// Mesa's JIT registers the unwind tables of the shaders it compiles with
// libgcc, under the lock of libgcc's list of registered objects, and the
// unwinder in the handler takes that lock too: a sample that interrupted the
// sampled thread inside a registration would wait for the lock forever. So
// the thread holds SIGPROF back while it registers. These definitions are
// exported from the benchmark (see CMakeLists.txt), so that the driver's
// calls reach them before libgcc's.
namespace {
using FrameCall = void(void*);
void withoutSamples(FrameCall* real, void* begin) {
  if (!real) return;  // no unwinder loaded: nothing to register with
  sigset_t profile, old;
  sigemptyset(&profile);
  sigaddset(&profile, SIGPROF);
  pthread_sigmask(SIG_BLOCK, &profile, &old);
  real(begin);
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
}
}  // namespace

extern "C" void __register_frame(void* begin) {
  static FrameCall* const real = reinterpret_cast<FrameCall*>(dlsym(RTLD_NEXT, "__register_frame"));
  withoutSamples(real, begin);
}
extern "C" void __deregister_frame(void* begin) {
  static FrameCall* const real = reinterpret_cast<FrameCall*>(dlsym(RTLD_NEXT, "__deregister_frame"));
  withoutSamples(real, begin);
}

DriverSampler::DriverSampler(std::chrono::microseconds period) : m_period(period) {}

DriverSampler::~DriverSampler() { stop(); }

bool DriverSampler::start(std::string* error) {
  if (m_thread.joinable()) return *error = "the sampler is already running", false;
  if (!installHandler(error)) return false;
  m_stop = false;
  m_thread = std::thread(&DriverSampler::run, this, int(::getpid()), int(::gettid()));
  return true;
}

void DriverSampler::stop() {
  if (!m_thread.joinable()) return;
  m_stop = true;
  // Every signal the helper sent has been handled once this thread runs
  // again after the join, so the final drain sees every sample.
  m_thread.join();
  drain();
}

std::int64_t DriverSampler::dropped() const { return g_dropped.load(); }

double DriverSampler::driverShare() const {
  return m_samples > 0 ? double(m_driverSamples) / double(m_samples) : 0.0;
}

bool DriverSampler::isDriverObject(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  static const char* const kParts[] = {"libGL",     "libEGL",  "libOpenGL", "libglapi", "libgallium", "_dri.so",
                                       "libLLVM",   "libepoxy", "libgbm",   "libdrm",   "libvulkan",  "libxshmfence"};
  for (const char* part : kParts)
    if (name.find(part) != std::string::npos) return true;
  return false;
}

void DriverSampler::run(int pid, int tid) {
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  const long periodNs = long(std::chrono::duration_cast<std::chrono::nanoseconds>(m_period).count());
  while (!m_stop.load()) {
    next.tv_nsec += periodNs;
    while (next.tv_nsec >= 1000000000L) {
      next.tv_nsec -= 1000000000L;
      ++next.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
    }
    if (m_stop.load()) break;
    if (::tgkill(pid, tid, SIGPROF) != 0) break;  // the thread is gone
    drain();
  }
}

void DriverSampler::drain() {
  const std::uint32_t head = g_head.load(std::memory_order_acquire);
  for (std::uint32_t tail = g_tail.load(std::memory_order_relaxed); tail != head; ++tail) {
    const Sample& sample = g_ring[tail % kRing];
    bool driver = false;
    for (int i = 0; i < sample.depth && !driver; ++i) driver = isDriverAddress(sample.frames[i]);
    ++m_samples;
    m_driverSamples += driver;
    g_tail.store(tail + 1, std::memory_order_release);
  }
}

bool DriverSampler::isDriverAddress(void* address) {
  Dl_info info{};
  // No loaded object holds it: code the driver compiled at run time.
  if (dladdr(address, &info) == 0 || !info.dli_fbase) return true;
  auto found = m_objects.find(info.dli_fbase);
  if (found == m_objects.end())
    found = m_objects.emplace(info.dli_fbase, isDriverObject(info.dli_fname ? info.dli_fname : "")).first;
  return found->second;
}
