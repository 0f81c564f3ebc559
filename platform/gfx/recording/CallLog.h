#pragma once
// The recording back end's call log: every call made on a recording device,
// its resources and its Direct3D object, in order, with its arguments as
// text and as raw numbers, and the result it returned.
//
// Text form, as tests write their expectations:
//   device and Direct3D calls   SetRenderState(D3DRS_ZENABLE, 1)
//   resource calls              Texture#3.LockRect(0, NULL, 0)
// Arguments print as Direct3D names where the value has one (states, ops,
// blend factors, formats, pools, flag sets as "A | B"), floats in their
// shortest exact form ("0.4"), colours as 0xAARRGGBB, objects by label
// ("Texture#3", "Texture#3.L0" for a level surface, "BackBuffer") or NULL.
// Out-pointers are not printed; the label of an object a call hands out is
// in `created`.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/gfx/D3D9Types.h"

struct RecordedArg {
  std::string text;
  // The value as a number: integers and enums as themselves, floats as their
  // bit pattern, objects as their id (0 for null), composite arguments 0.
  std::uint64_t raw = 0;
};

struct RecordedCall {
  std::string object;  // label of the resource called; empty for device and Direct3D calls
  std::string name;    // method name, e.g. "SetRenderState"
  std::vector<RecordedArg> args;
  HRESULT result = 0;
  std::string created;  // label of the object handed out (Create*, Get*), if any
  // Bytes the call passed by pointer that a test may want to inspect: the
  // vertices of Draw*UP, the indices of DrawIndexedPrimitiveUP (in
  // `indices`), the text of a shader, the floats of a shader constant.
  std::vector<std::uint8_t> data;
  std::vector<std::uint8_t> indices;

  std::string text() const;      // "Name(arg, arg)" or "Object.Name(arg, arg)"
  std::string describe() const;  // text plus " -> created" and " = RESULT" when not D3D_OK
  const std::string& arg(std::size_t index) const;  // empty string past the end
  std::uint64_t raw(std::size_t index) const;       // 0 past the end
  bool failed() const { return result < 0; }
};

class CallLog {
 public:
  RecordedCall& append(RecordedCall call) { return m_calls.emplace_back(std::move(call)); }
  void clear() { m_calls.clear(); }

  const std::vector<RecordedCall>& calls() const { return m_calls; }
  std::size_t size() const { return m_calls.size(); }
  const RecordedCall& operator[](std::size_t index) const { return m_calls[index]; }
  // A position to query "since" (the current size).
  std::size_t mark() const { return m_calls.size(); }

  // Texts of all calls from `from` on, or only those with a method name.
  std::vector<std::string> texts(std::size_t from = 0) const;
  std::vector<std::string> texts(const std::string& name, std::size_t from = 0) const;
  // Calls with that method name.
  std::vector<const RecordedCall*> named(const std::string& name, std::size_t from = 0) const;
  std::size_t count(const std::string& name, std::size_t from = 0) const;
  // Calls whose text is exactly `text`.
  std::size_t countText(const std::string& text, std::size_t from = 0) const;
  // Index of the first call at or after `from` with that exact text / name.
  std::optional<std::size_t> find(const std::string& text, std::size_t from = 0) const;
  std::optional<std::size_t> findName(const std::string& name, std::size_t from = 0) const;
  // The last call with that method name; null when none.
  const RecordedCall* last(const std::string& name) const;
  // Whether the texts occur in this order (other calls may come between).
  bool containsSequence(const std::vector<std::string>& texts, std::size_t from = 0) const;
  // Calls that returned a failure.
  std::vector<const RecordedCall*> failures(std::size_t from = 0) const;
  // One describe() per line; for failure messages.
  std::string dump(std::size_t from = 0) const;

 private:
  std::vector<RecordedCall> m_calls;
};
