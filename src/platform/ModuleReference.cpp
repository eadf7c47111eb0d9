#include "platform/ModuleReference.h"

#include <atomic>

namespace qz {
namespace {

std::atomic<bool> g_enabled{false};
std::atomic<int> g_held{0};

}  // namespace

void ModuleReference::Enable() { g_enabled.store(true); }

void* ModuleReference::Acquire() {
  if (!g_enabled.load()) return nullptr;
  void* module = AcquireOwnModule();
  if (module != nullptr) g_held.fetch_add(1);
  return module;
}

void ModuleReference::Release(void* module) {
  if (module == nullptr) return;
  g_held.fetch_sub(1);
  ReleaseOwnModule(module);
}

void ModuleReference::ReleaseAtThreadEnd(void* module) {
  if (module == nullptr) return;
  // Counted off first: after the release no code of this module may run here.
  g_held.fetch_sub(1);
  ReleaseOwnModuleAtThreadEnd(module);
}

bool ModuleReference::AnyHeld() { return g_held.load() > 0; }

}  // namespace qz
