#include "platform/movie/OleTypes.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

int hexValue(OLECHAR c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

// The 16 bytes of a GUID in the order its string form writes them.
void guidBytes(const GUID& g, std::uint8_t out[16]) {
  for (int i = 0; i < 4; ++i) out[i] = std::uint8_t(g.Data1 >> (24 - 8 * i));
  out[4] = std::uint8_t(g.Data2 >> 8);
  out[5] = std::uint8_t(g.Data2);
  out[6] = std::uint8_t(g.Data3 >> 8);
  out[7] = std::uint8_t(g.Data3);
  std::memcpy(out + 8, g.Data4, 8);
}

// Positions (within the 38 characters) where a '-' separates the groups.
bool isDashPosition(int i) { return i == 9 || i == 14 || i == 19 || i == 24; }

constexpr std::size_t kBstrPrefix = sizeof(std::uint32_t);

}  // namespace

void* CoTaskMemAlloc(std::size_t bytes) { return std::malloc(bytes == 0 ? 1 : bytes); }
void CoTaskMemFree(void* memory) { std::free(memory); }

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* string) {
  if (!string) return E_POINTER;
  *string = nullptr;
  auto* text = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
  if (!text) return E_OUTOFMEMORY;
  std::uint8_t bytes[16];
  guidBytes(clsid, bytes);
  int pos = 0, byte = 0;
  text[pos++] = u'{';
  while (pos < 37) {
    if (isDashPosition(pos)) {
      text[pos++] = u'-';
      continue;
    }
    text[pos++] = OLECHAR(kHexDigits[bytes[byte] >> 4]);
    text[pos++] = OLECHAR(kHexDigits[bytes[byte] & 15]);
    ++byte;
  }
  text[pos++] = u'}';
  text[pos] = 0;
  *string = text;
  return S_OK;
}

HRESULT CLSIDFromString(LPCOLESTR string, CLSID* clsid) {
  if (!clsid) return E_POINTER;
  *clsid = IID_NULL;
  if (!string) return CO_E_CLASSSTRING;
  std::uint8_t bytes[16];
  int byte = 0;
  if (string[0] != u'{') return CO_E_CLASSSTRING;
  int pos = 1;
  while (pos < 37) {
    if (isDashPosition(pos)) {
      if (string[pos++] != u'-') return CO_E_CLASSSTRING;
      continue;
    }
    const int hi = hexValue(string[pos]);
    const int lo = hi < 0 ? -1 : hexValue(string[pos + 1]);  // never reads past a zero
    if (hi < 0 || lo < 0) return CO_E_CLASSSTRING;
    bytes[byte++] = std::uint8_t(hi << 4 | lo);
    pos += 2;
  }
  if (string[37] != u'}' || string[38] != 0) return CO_E_CLASSSTRING;
  clsid->Data1 = std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 8 | bytes[3];
  clsid->Data2 = std::uint16_t(bytes[4] << 8 | bytes[5]);
  clsid->Data3 = std::uint16_t(bytes[6] << 8 | bytes[7]);
  std::memcpy(clsid->Data4, bytes + 8, 8);
  return S_OK;
}

BSTR SysAllocStringLen(const OLECHAR* string, UINT length) {
  if (length > (0xFFFFFFFFu - kBstrPrefix) / sizeof(OLECHAR) - 1) return nullptr;
  auto* block = static_cast<std::uint8_t*>(std::malloc(kBstrPrefix + (std::size_t(length) + 1) * sizeof(OLECHAR)));
  if (!block) return nullptr;
  const std::uint32_t bytes = length * sizeof(OLECHAR);
  std::memcpy(block, &bytes, kBstrPrefix);
  auto* text = reinterpret_cast<BSTR>(block + kBstrPrefix);
  if (string) std::memcpy(text, string, length * sizeof(OLECHAR));
  else std::memset(text, 0, length * sizeof(OLECHAR));
  text[length] = 0;
  return text;
}

BSTR SysAllocString(LPCOLESTR string) {
  if (!string) return nullptr;
  UINT length = 0;
  while (string[length]) ++length;
  return SysAllocStringLen(string, length);
}

void SysFreeString(BSTR string) {
  if (string) std::free(reinterpret_cast<std::uint8_t*>(string) - kBstrPrefix);
}

UINT SysStringLen(BSTR string) {
  if (!string) return 0;
  std::uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<std::uint8_t*>(string) - kBstrPrefix, kBstrPrefix);
  return bytes / sizeof(OLECHAR);
}

namespace {

// Decodes one UTF-8 sequence at s[0..n); returns its length, or 0 when the
// bytes are not a valid, shortest-form sequence of a scalar value.
int decodeUtf8(const unsigned char* s, std::size_t n, char32_t* out) {
  const unsigned char b0 = s[0];
  if (b0 < 0x80) {
    *out = b0;
    return 1;
  }
  int length;
  char32_t value, minimum;
  if ((b0 & 0xE0) == 0xC0) length = 2, value = b0 & 0x1F, minimum = 0x80;
  else if ((b0 & 0xF0) == 0xE0) length = 3, value = b0 & 0x0F, minimum = 0x800;
  else if ((b0 & 0xF8) == 0xF0) length = 4, value = b0 & 0x07, minimum = 0x10000;
  else return 0;
  if (std::size_t(length) > n) return 0;
  for (int i = 1; i < length; ++i) {
    if ((s[i] & 0xC0) != 0x80) return 0;
    value = value << 6 | (s[i] & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  *out = value;
  return length;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceBytes, WCHAR* destination,
                        int destinationUnits) {
  if (codePage != CP_ACP && codePage != CP_UTF8) return 0;
  if (!source || sourceBytes == 0 || sourceBytes < -1 || destinationUnits < 0) return 0;
  if (destinationUnits > 0 && !destination) return 0;
  const auto* bytes = reinterpret_cast<const unsigned char*>(source);
  const std::size_t length = sourceBytes == -1 ? std::strlen(source) + 1 : std::size_t(sourceBytes);
  const bool strict = (flags & MB_ERR_INVALID_CHARS) != 0;

  std::size_t units = 0;
  auto put = [&](char16_t unit) {
    if (destinationUnits > 0 && units < std::size_t(destinationUnits)) destination[units] = unit;
    ++units;
  };
  for (std::size_t i = 0; i < length;) {
    char32_t value;
    int used = decodeUtf8(bytes + i, length - i, &value);
    if (used == 0) {
      if (strict) return 0;
      value = 0xFFFD;
      used = 1;
    }
    i += std::size_t(used);
    if (value >= 0x10000) {
      value -= 0x10000;
      put(char16_t(0xD800 + (value >> 10)));
      put(char16_t(0xDC00 + (value & 0x3FF)));
    } else {
      put(char16_t(value));
    }
    if (units > 0x7FFFFFFF) return 0;
  }
  if (destinationUnits > 0 && units > std::size_t(destinationUnits)) return 0;
  return int(units);
}

bool wideToUtf8(const OLECHAR* text, std::size_t units, std::string* out) {
  out->clear();
  if (!text) return units == 0;
  for (std::size_t i = 0; i < units; ++i) {
    char32_t value = text[i];
    if (value >= 0xD800 && value <= 0xDBFF) {
      if (i + 1 >= units || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) return false;
      value = 0x10000 + ((value - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (value >= 0xDC00 && value <= 0xDFFF) {
      return false;
    }
    if (value < 0x80) {
      out->push_back(char(value));
    } else if (value < 0x800) {
      out->push_back(char(0xC0 | value >> 6));
      out->push_back(char(0x80 | (value & 0x3F)));
    } else if (value < 0x10000) {
      out->push_back(char(0xE0 | value >> 12));
      out->push_back(char(0x80 | (value >> 6 & 0x3F)));
      out->push_back(char(0x80 | (value & 0x3F)));
    } else {
      out->push_back(char(0xF0 | value >> 18));
      out->push_back(char(0x80 | (value >> 12 & 0x3F)));
      out->push_back(char(0x80 | (value >> 6 & 0x3F)));
      out->push_back(char(0x80 | (value & 0x3F)));
    }
  }
  return true;
}
