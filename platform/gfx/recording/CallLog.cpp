#include "platform/gfx/recording/CallLog.h"

#include "platform/gfx/D3D9Names.h"

std::string RecordedCall::text() const {
  std::string out;
  if (!object.empty()) {
    out += object;
    out += '.';
  }
  out += name;
  out += '(';
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (i != 0) out += ", ";
    out += args[i].text;
  }
  out += ')';
  return out;
}

std::string RecordedCall::describe() const {
  std::string out = text();
  if (!created.empty()) out += " -> " + created;
  if (result != 0) out += " = " + hresultText(result);
  return out;
}

const std::string& RecordedCall::arg(std::size_t index) const {
  static const std::string kEmpty;
  return index < args.size() ? args[index].text : kEmpty;
}

std::uint64_t RecordedCall::raw(std::size_t index) const { return index < args.size() ? args[index].raw : 0; }

std::vector<std::string> CallLog::texts(std::size_t from) const {
  std::vector<std::string> out;
  for (std::size_t i = from; i < m_calls.size(); ++i) out.push_back(m_calls[i].text());
  return out;
}

std::vector<std::string> CallLog::texts(const std::string& name, std::size_t from) const {
  std::vector<std::string> out;
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].name == name) out.push_back(m_calls[i].text());
  }
  return out;
}

std::vector<const RecordedCall*> CallLog::named(const std::string& name, std::size_t from) const {
  std::vector<const RecordedCall*> out;
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].name == name) out.push_back(&m_calls[i]);
  }
  return out;
}

std::size_t CallLog::count(const std::string& name, std::size_t from) const { return named(name, from).size(); }

std::size_t CallLog::countText(const std::string& text, std::size_t from) const {
  std::size_t n = 0;
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].text() == text) ++n;
  }
  return n;
}

std::optional<std::size_t> CallLog::find(const std::string& text, std::size_t from) const {
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].text() == text) return i;
  }
  return std::nullopt;
}

std::optional<std::size_t> CallLog::findName(const std::string& name, std::size_t from) const {
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].name == name) return i;
  }
  return std::nullopt;
}

const RecordedCall* CallLog::last(const std::string& name) const {
  for (std::size_t i = m_calls.size(); i-- > 0;) {
    if (m_calls[i].name == name) return &m_calls[i];
  }
  return nullptr;
}

bool CallLog::containsSequence(const std::vector<std::string>& texts, std::size_t from) const {
  std::size_t next = 0;
  for (std::size_t i = from; i < m_calls.size() && next < texts.size(); ++i) {
    if (m_calls[i].text() == texts[next]) ++next;
  }
  return next == texts.size();
}

std::vector<const RecordedCall*> CallLog::failures(std::size_t from) const {
  std::vector<const RecordedCall*> out;
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    if (m_calls[i].failed()) out.push_back(&m_calls[i]);
  }
  return out;
}

std::string CallLog::dump(std::size_t from) const {
  std::string out;
  for (std::size_t i = from; i < m_calls.size(); ++i) {
    out += std::to_string(i) + ": " + m_calls[i].describe() + "\n";
  }
  return out;
}
