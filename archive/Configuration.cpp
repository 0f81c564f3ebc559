#include "archive/Configuration.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string trimmed(const char* begin, const char* end) {
  while (begin < end && isBlank(*begin)) ++begin;
  while (end > begin && isBlank(end[-1])) --end;
  return std::string(begin, end);
}

// The next "="-separated piece within [cursor, end): separators skipped, then
// everything up to the next separator. False when nothing is left.
bool nextPiece(const char*& cursor, const char* end, const char** pieceBegin, const char** pieceEnd) {
  while (cursor < end && *cursor == '=') ++cursor;
  if (cursor == end) return false;
  *pieceBegin = cursor;
  while (cursor < end && *cursor != '=') ++cursor;
  *pieceEnd = cursor;
  return true;
}

}  // namespace

void Configuration::Parse(const char* text) {
  if (!text) return;
  const char* cursor = text;
  while (*cursor) {
    const char* lineBegin = cursor;
    const char* lineEnd = std::strchr(cursor, '\n');
    if (!lineEnd) lineEnd = cursor + std::strlen(cursor);
    cursor = *lineEnd ? lineEnd + 1 : lineEnd;

    while (lineBegin < lineEnd && (*lineBegin == '\r' || *lineBegin == '\n')) ++lineBegin;
    while (lineEnd > lineBegin && (lineEnd[-1] == '\r' || lineEnd[-1] == '\n')) --lineEnd;
    if (lineBegin == lineEnd || *lineBegin == '#') continue;

    const char* piece = lineBegin;
    const char *keyBegin, *keyEnd, *valueBegin, *valueEnd;
    if (!nextPiece(piece, lineEnd, &keyBegin, &keyEnd)) continue;
    std::string value;
    if (nextPiece(piece, lineEnd, &valueBegin, &valueEnd)) value = trimmed(valueBegin, valueEnd);
    m_values.emplace(AsciiLower(trimmed(keyBegin, keyEnd)), std::move(value));  // first one wins
  }
}

const char* Configuration::GetString(const char* key) const {
  if (!key) return nullptr;
  auto it = m_values.find(AsciiLower(key));
  return it == m_values.end() ? nullptr : it->second.c_str();
}

std::int32_t Configuration::GetInt(const char* key) const {
  const char* value = GetString(key);
  return value ? ParseDecimalInt(value) : 0;
}

double Configuration::GetFloat(const char* key) const {
  const char* value = GetString(key);
  return value ? ParseDecimalFloat(value) : 0.0;
}

std::string AsciiLower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return text;
}

std::int32_t ParseDecimalInt(const char* text) {
  while (isBlank(*text)) ++text;
  bool negative = false;
  if (*text == '+' || *text == '-') negative = *text++ == '-';
  std::uint32_t value = 0;  // unsigned: overflow wraps around
  while (isDigit(*text)) value = value * 10u + std::uint32_t(*text++ - '0');
  return std::int32_t(negative ? 0u - value : value);
}

double ParseDecimalFloat(const char* text) {
  while (isBlank(*text)) ++text;
  // Measure the decimal prefix: sign, digits, fraction, exponent.
  const char* p = text;
  if (*p == '+' || *p == '-') ++p;
  bool digits = false;
  while (isDigit(*p)) ++p, digits = true;
  if (*p == '.') {
    ++p;
    while (isDigit(*p)) ++p, digits = true;
  }
  if (!digits) return 0.0;
  if (*p == 'e' || *p == 'E') {
    const char* e = p + 1;
    if (*e == '+' || *e == '-') ++e;
    if (isDigit(*e)) {
      while (isDigit(*e)) ++e;
      p = e;
    }
  }
  // strtod on exactly that prefix, in the "C" locale whatever the process's.
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(0));
  const std::string prefix(text, p);
  return strtod_l(prefix.c_str(), nullptr, cLocale);
}
