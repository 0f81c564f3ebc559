#pragma once
// The OLE / COM shapes the movie host speaks: GUIDs and their string form,
// 16-bit wide strings (BSTR), VARIANT_BOOL and the result codes the host's
// calls return. Only what the hosted control and its host window need; the
// values are Win32's so the code that drives the control reads as it would
// against the real thing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/gfx/D3D9Types.h"  // HRESULT, S_OK, E_FAIL, SUCCEEDED, RECT
#include "platform/os/Types.h"

// Win32's truth values, as macros so that other headers defining them the
// same way can be included before or after this one.
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

using LONG = std::int32_t;
using ULONG = std::uint32_t;
using OLECHAR = char16_t;  // UTF-16 code unit (Win32's wchar_t)
using WCHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
// A length-prefixed UTF-16 string from SysAllocString, owned by whoever holds
// it and freed with SysFreeString. Null is a valid, empty BSTR.
using BSTR = OLECHAR*;

using VARIANT_BOOL = std::int16_t;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
// Win32 error 2 as an HRESULT: the file named does not exist or cannot be read.
constexpr HRESULT HRESULT_FILE_NOT_FOUND = static_cast<HRESULT>(0x80070002);
// A control's "invalid file format" result: the file is not one it can load.
constexpr HRESULT CTL_E_INVALIDFILEFORMAT = static_cast<HRESULT>(0x800A0141);

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr GUID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

constexpr bool IsEqualGUID(const GUID& a, const GUID& b) {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i)
    if (a.Data4[i] != b.Data4[i]) return false;
  return true;
}
constexpr bool operator==(const GUID& a, const GUID& b) { return IsEqualGUID(a, b); }

// The registry form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper-case hex,
// 38 characters), allocated for the caller, who frees it with CoTaskMemFree.
HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* string);
// Parses the registry form (either case of hex digits); CO_E_CLASSSTRING for
// anything else.
HRESULT CLSIDFromString(LPCOLESTR string, CLSID* clsid);
void* CoTaskMemAlloc(std::size_t bytes);
void CoTaskMemFree(void* memory);

// BSTRs: a u32 byte length in front of the characters, a zero unit behind.
BSTR SysAllocString(LPCOLESTR string);
BSTR SysAllocStringLen(const OLECHAR* string, UINT length);
void SysFreeString(BSTR string);
UINT SysStringLen(BSTR string);  // in UTF-16 units; 0 for null

// Text conversion. The "ANSI" code page of this platform is UTF-8: file
// names are UTF-8 bytes, so CP_ACP and CP_UTF8 convert the same way.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;
// Fail (return 0) on bytes that are not UTF-8 instead of substituting U+FFFD.
constexpr DWORD MB_ERR_INVALID_CHARS = 0x00000008;

// Win32's contract: source length -1 converts through the terminating zero
// (which is counted); a destination size of 0 asks for the units needed; a
// destination too small gives 0 (nothing useful is left in it). Other code
// pages give 0.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceBytes, WCHAR* destination,
                        int destinationUnits);
// UTF-16 (lone surrogates fail) to UTF-8; false on failure. Our own helper:
// the host opens files by their UTF-8 names.
bool wideToUtf8(const OLECHAR* text, std::size_t units, std::string* out);
