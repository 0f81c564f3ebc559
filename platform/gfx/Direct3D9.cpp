#include "platform/gfx/Direct3D9.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

// Back ends register at start, tests register and unregister at will; a
// mutex keeps a registration racing a Direct3DCreate9 well-defined.
namespace {

struct Backend {
  std::string name;
  int priority = 0;
  Direct3DFactory factory;
};

struct Registry {
  std::mutex mutex;
  std::vector<Backend> backends;  // highest priority first; equal priorities keep registration order
  std::string selected;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

// Caller holds the mutex. Null when the chosen name is not registered.
const Backend* chooseLocked(Registry& reg) {
  std::string name = reg.selected;
  if (name.empty()) {
    const char* env = std::getenv("VX_GFX_BACKEND");
    if (env != nullptr) name = env;
  }
  if (name.empty()) return reg.backends.empty() ? nullptr : &reg.backends.front();
  for (const Backend& backend : reg.backends) {
    if (backend.name == name) return &backend;
  }
  return nullptr;
}

}  // namespace

void registerDirect3DBackend(const std::string& name, int priority, Direct3DFactory factory) {
  Registry& reg = registry();
  std::lock_guard lock(reg.mutex);
  std::erase_if(reg.backends, [&](const Backend& b) { return b.name == name; });
  auto at = std::find_if(reg.backends.begin(), reg.backends.end(),
                         [&](const Backend& b) { return b.priority < priority; });
  reg.backends.insert(at, Backend{name, priority, std::move(factory)});
}

bool unregisterDirect3DBackend(const std::string& name) {
  Registry& reg = registry();
  std::lock_guard lock(reg.mutex);
  return std::erase_if(reg.backends, [&](const Backend& b) { return b.name == name; }) != 0;
}

void selectDirect3DBackend(const std::string& name) {
  Registry& reg = registry();
  std::lock_guard lock(reg.mutex);
  reg.selected = name;
}

std::string chosenDirect3DBackend() {
  Registry& reg = registry();
  std::lock_guard lock(reg.mutex);
  const Backend* backend = chooseLocked(reg);
  return backend != nullptr ? backend->name : std::string();
}

std::vector<std::string> direct3DBackendNames() {
  Registry& reg = registry();
  std::lock_guard lock(reg.mutex);
  std::vector<std::string> names;
  for (const Backend& backend : reg.backends) names.push_back(backend.name);
  return names;
}

IDirect3D9* Direct3DCreate9(UINT SDKVersion) {
  if (SDKVersion != D3D_SDK_VERSION) return nullptr;
  Direct3DFactory factory;
  {
    Registry& reg = registry();
    std::lock_guard lock(reg.mutex);
    const Backend* backend = chooseLocked(reg);
    if (backend == nullptr) return nullptr;
    factory = backend->factory;
  }
  // Called unlocked: a factory may itself consult the registry.
  return factory ? factory() : nullptr;
}
