#pragma once
// State shared by a recording Direct3D object, the devices it creates and
// every resource they make: the call log, object ids, the count of live
// resources (for leak checks), the creation-failure plan, and the shells of
// released objects.
//
// Released objects: a recording object whose count reaches 0 frees its
// memory and is dead, but its shell is kept here until the tracker goes, so
// a call through a stale pointer answers D3DERR_INVALIDCALL (and is logged)
// instead of touching freed memory.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/gfx/D3D9Structs.h"
#include "platform/gfx/recording/CallLog.h"

class RecordingObject;
class RecordingDevice;

class RecordingTracker {
 public:
  RecordingTracker();
  ~RecordingTracker();
  RecordingTracker(const RecordingTracker&) = delete;
  RecordingTracker& operator=(const RecordingTracker&) = delete;

  CallLog& log() { return m_log; }
  // Objects made by Create* calls (and CreateDevice) that are not released
  // yet; surfaces of a texture count with their texture, and the implicit
  // back buffer and depth-stencil surface of a device are not counted.
  int liveResourceCount() const { return m_live; }

  // Makes Create* calls fail with `result`: the next `count` ones (count < 0:
  // every one until cleared), only those named `callName` when it is not
  // empty ("CreateTexture", "CreateDevice", ...). Plans are consulted in the
  // order they were made; a failing call hands out null.
  void failCreation(HRESULT result, int count = -1, const std::string& callName = {});
  void clearCreationFailures() { m_plans.clear(); }
  // D3D_OK, or the failure planned for this call (consuming it).
  HRESULT takeCreationFailure(const std::string& callName);

  std::uint64_t nextId() { return m_nextId++; }
  void resourceBorn() { ++m_live; }
  void resourceDied() { --m_live; }
  // Takes ownership of a released object's shell.
  void bury(RecordingObject* object);

  // Devices sharing this tracker register for their lifetime.
  void deviceCreated(RecordingDevice* device) { m_devices.push_back(device); }
  void deviceDestroyed(RecordingDevice* device) { std::erase(m_devices, device); }
  RecordingDevice* lastLiveDevice() const { return m_devices.empty() ? nullptr : m_devices.back(); }

 private:
  struct FailurePlan {
    HRESULT result;
    int remaining;  // < 0: unlimited
    std::string callName;
  };
  CallLog m_log;
  int m_live = 0;
  std::uint64_t m_nextId = 1;
  std::vector<FailurePlan> m_plans;
  std::vector<std::unique_ptr<RecordingObject>> m_graveyard;
  std::vector<RecordingDevice*> m_devices;
};

// Bookkeeping common to every recording object: label, reference count,
// liveness and logging. The interface comes from RecordingRefCounted below.
class RecordingObject {
 public:
  // `kind` names the label ("Texture" gives "Texture#7"); `counted` objects
  // take part in the tracker's live-resource count.
  RecordingObject(std::shared_ptr<RecordingTracker> tracker, const std::string& kind, bool counted);
  // An object owned by a container (a texture's level surface): shares the
  // container's count and life, labelled "<container label><suffix>".
  RecordingObject(RecordingObject* container, const std::string& suffix);
  virtual ~RecordingObject() = default;
  RecordingObject(const RecordingObject&) = delete;
  RecordingObject& operator=(const RecordingObject&) = delete;

  const std::string& label() const { return m_label; }
  std::uint64_t id() const { return m_id; }
  bool alive() const { return m_container != nullptr ? m_container->alive() : m_refs > 0; }
  ULONG refCount() const { return m_container != nullptr ? m_container->refCount() : m_refs; }
  RecordingTracker& tracker() { return *m_trackerRaw; }

  // Reference counting without logging (bindings held by the device).
  ULONG addReference();
  ULONG releaseReference();

  // Appends a call on this object to the log and returns it for additions.
  RecordedCall& record(const std::string& name, std::vector<RecordedArg> args, HRESULT result);

 protected:
  // Logged AddRef / Release, as the interfaces expose them.
  ULONG loggedAddRef();
  ULONG loggedRelease();
  // Frees the object's memory when its count reaches 0.
  virtual void freeStorage() {}

 private:
  std::shared_ptr<RecordingTracker> m_tracker;  // null once dead or when owned by a container
  RecordingTracker* m_trackerRaw;
  RecordingObject* m_container = nullptr;
  std::string m_label;
  std::uint64_t m_id = 0;
  ULONG m_refs = 1;
  bool m_counted = false;
};

template <class Interface>
class RecordingRefCounted : public Interface, public RecordingObject {
 public:
  using RecordingObject::RecordingObject;
  ULONG AddRef() override { return loggedAddRef(); }
  ULONG Release() override { return loggedRelease(); }
};

// Argument builders for the call log.
RecordedArg argNumber(std::uint64_t value);
RecordedArg argSigned(std::int64_t value);
RecordedArg argFloat(float value);
RecordedArg argText(std::string text, std::uint64_t raw = 0);
RecordedArg argColor(D3DCOLOR color);
RecordedArg argObject(const RecordingObject* object);  // label or NULL, raw = id
RecordedArg argPointer(const void* pointer);           // "NULL" or "ptr"
