#include "platform/gfx/recording/RecordingTracker.h"

#include "platform/gfx/D3D9Names.h"

RecordingTracker::RecordingTracker() = default;
RecordingTracker::~RecordingTracker() = default;

void RecordingTracker::failCreation(HRESULT result, int count, const std::string& callName) {
  if (count == 0) return;
  m_plans.push_back(FailurePlan{result, count, callName});
}

HRESULT RecordingTracker::takeCreationFailure(const std::string& callName) {
  for (auto it = m_plans.begin(); it != m_plans.end(); ++it) {
    if (!it->callName.empty() && it->callName != callName) continue;
    HRESULT result = it->result;
    if (it->remaining > 0 && --it->remaining == 0) m_plans.erase(it);
    return result;
  }
  return D3D_OK;
}

void RecordingTracker::bury(RecordingObject* object) { m_graveyard.emplace_back(object); }

RecordingObject::RecordingObject(std::shared_ptr<RecordingTracker> tracker, const std::string& kind, bool counted)
    : m_tracker(std::move(tracker)), m_trackerRaw(m_tracker.get()), m_counted(counted) {
  m_id = m_trackerRaw->nextId();
  m_label = kind + "#" + std::to_string(m_id);
  if (m_counted) m_trackerRaw->resourceBorn();
}

RecordingObject::RecordingObject(RecordingObject* container, const std::string& suffix)
    : m_trackerRaw(container->m_trackerRaw), m_container(container) {
  m_id = m_trackerRaw->nextId();
  m_label = container->label() + suffix;
}

ULONG RecordingObject::addReference() {
  if (m_container != nullptr) return m_container->addReference();
  if (m_refs == 0) return 0;
  return ++m_refs;
}

ULONG RecordingObject::releaseReference() {
  if (m_container != nullptr) return m_container->releaseReference();
  if (m_refs == 0) return 0;
  if (--m_refs != 0) return m_refs;
  freeStorage();
  if (m_counted) m_trackerRaw->resourceDied();
  // The tracker may go with the last shared reference, and with it this
  // shell; nothing below touches a member.
  std::shared_ptr<RecordingTracker> keep = std::move(m_tracker);
  keep->bury(this);
  return 0;
}

ULONG RecordingObject::loggedAddRef() {
  bool wasAlive = alive();
  RecordedCall& call = record("AddRef", {}, wasAlive ? D3D_OK : D3DERR_INVALIDCALL);
  if (!wasAlive) return 0;
  ULONG count = addReference();
  call.result = static_cast<HRESULT>(count);
  return count;
}

ULONG RecordingObject::loggedRelease() {
  if (!alive()) {
    record("Release", {}, D3DERR_INVALIDCALL);
    return 0;
  }
  // Logged before the count drops: the shell may be buried by the release.
  RecordedCall& call = record("Release", {}, D3D_OK);
  call.result = static_cast<HRESULT>(refCount() - 1);
  return releaseReference();
}

RecordedCall& RecordingObject::record(const std::string& name, std::vector<RecordedArg> args, HRESULT result) {
  RecordedCall call;
  call.object = m_label;
  call.name = name;
  call.args = std::move(args);
  call.result = result;
  return m_trackerRaw->log().append(std::move(call));
}

RecordedArg argNumber(std::uint64_t value) { return RecordedArg{std::to_string(value), value}; }
RecordedArg argSigned(std::int64_t value) {
  return RecordedArg{std::to_string(value), static_cast<std::uint64_t>(value)};
}
RecordedArg argFloat(float value) { return RecordedArg{floatText(value), floatToDword(value)}; }
RecordedArg argText(std::string text, std::uint64_t raw) { return RecordedArg{std::move(text), raw}; }
RecordedArg argColor(D3DCOLOR color) { return RecordedArg{colorText(color), color}; }
RecordedArg argObject(const RecordingObject* object) {
  if (object == nullptr) return RecordedArg{"NULL", 0};
  return RecordedArg{object->label(), object->id()};
}
RecordedArg argPointer(const void* pointer) {
  return RecordedArg{pointer == nullptr ? "NULL" : "ptr", reinterpret_cast<std::uintptr_t>(pointer)};
}
