#include "platform/d3dx/D3DXShader.h"

#include "platform/d3dx/GlslSource.h"
#include "platform/gfx/GlslScan.h"
#include "platform/gfx/ShaderCheck.h"
#include "platform/os/Process.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

// --- Buffers ---------------------------------------------------------------------------

class Buffer final : public ID3DXBuffer {
 public:
  explicit Buffer(size_t size) : m_bytes(size, 0) {}
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }
  void* GetBufferPointer() override { return m_bytes.data(); }
  DWORD GetBufferSize() override { return DWORD(m_bytes.size()); }

 private:
  std::vector<unsigned char> m_bytes;
  ULONG m_refs = 1;
};

// The text with its NUL, as D3DX hands out code and messages.
ID3DXBuffer* textBuffer(const std::string& text) {
  Buffer* buffer = new Buffer(text.size() + 1);
  std::memcpy(buffer->GetBufferPointer(), text.c_str(), text.size() + 1);
  return buffer;
}

// --- Constant tables -------------------------------------------------------------------

struct ConstantEntry {
  std::string name;    // the uniform's name
  std::string handle;  // "name" or "name[i]"; the handle is handle.c_str()
  D3DXCONSTANT_DESC desc{};
  const ConstantEntry* top = this;  // the whole uniform (itself when top-level)
  bool isArray = false;
  UINT offset = 0;  // first value within the uniform
  UINT count = 0;   // values this entry covers
  std::vector<float> defaultFloats;        // float constants
  std::vector<std::int32_t> defaultWords;  // INT and BOOL constants
  std::vector<ConstantEntry*> elements;
};

// Values as they travel to the device, from the caller's type.
float convert(D3DXPARAMETER_TYPE to, double value) {
  if (to == D3DXPT_BOOL) return value != 0.0 ? 1.0f : 0.0f;
  if (to == D3DXPT_INT) return std::isfinite(value) ? float(std::trunc(value)) : 0.0f;
  return float(value);
}

void matrixValues(const D3DMATRIX& m, UINT size, bool transpose, std::vector<float>* out) {
  for (UINT r = 0; r < size; ++r)
    for (UINT c = 0; c < size; ++c) out->push_back(transpose ? m.m[c][r] : m.m[r][c]);
}

class ConstantTable final : public ID3DXConstantTable {
 public:
  ConstantTable(const std::vector<GlslUniform>& uniforms, bool vertex, DWORD version, bool rowMajor)
      : m_vertex(vertex) {
    m_desc.Creator = "D3DX GLSL constant table";
    m_desc.Version = version;
    UINT nextRegister[4] = {0, 0, 0, 0};
    for (const GlslUniform& u : uniforms) {
      auto entry = std::make_unique<ConstantEntry>();
      ConstantEntry& e = *entry;
      const GlslUniformType& t = *u.type;
      e.name = e.handle = u.name;
      e.isArray = u.isArray;
      const UINT perElement = t.cls == D3DXPC_OBJECT ? 1 : t.rows * t.columns;
      e.count = perElement * u.elements;
      D3DXCONSTANT_DESC& d = e.desc;
      d.RegisterSet = t.set;
      d.RegisterIndex = t.set == D3DXRS_SAMPLER ? u.binding : nextRegister[t.set];
      d.RegisterCount = t.registersPerElement * u.elements;
      if (t.set != D3DXRS_SAMPLER) nextRegister[t.set] += d.RegisterCount;
      d.Class = (t.cls == D3DXPC_MATRIX_COLUMNS && rowMajor) ? D3DXPC_MATRIX_ROWS : t.cls;
      d.Type = t.type;
      d.Rows = t.rows;
      d.Columns = t.columns;
      d.Elements = u.elements;
      d.Bytes = e.count * 4;
      if (u.hasDefault) {
        for (double v : u.defaults) {
          if (t.type == D3DXPT_FLOAT) e.defaultFloats.push_back(float(v));
          else e.defaultWords.push_back(std::int32_t(convert(t.type, v)));
        }
      }
      m_top.push_back(std::move(entry));
    }
    // Elements once the top-level entries no longer move.
    for (auto& top : m_top) {
      if (!top->isArray) continue;
      const UINT perElement = top->count / top->desc.Elements;
      for (UINT k = 0; k < top->desc.Elements; ++k) {
        auto element = std::make_unique<ConstantEntry>();
        element->name = top->name;
        element->handle = top->name + "[" + std::to_string(k) + "]";
        element->top = top.get();
        element->offset = k * perElement;
        element->count = perElement;
        element->desc = top->desc;
        element->desc.Elements = 1;
        element->desc.RegisterCount = top->desc.RegisterCount / top->desc.Elements;
        element->desc.RegisterIndex = top->desc.RegisterIndex + k * element->desc.RegisterCount;
        element->desc.Bytes = perElement * 4;
        top->elements.push_back(element.get());
        m_elements.push_back(std::move(element));
      }
    }
    for (auto* list : {&m_top, &m_elements})
      for (auto& e : *list) {
        e->desc.Name = e->name.c_str();
        const ConstantEntry& top = *e->top;
        if (!top.defaultFloats.empty()) e->desc.DefaultValue = top.defaultFloats.data() + e->offset;
        if (!top.defaultWords.empty()) e->desc.DefaultValue = top.defaultWords.data() + e->offset;
      }
    m_desc.Constants = UINT(m_top.size());
  }

  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }

  HRESULT GetDesc(D3DXCONSTANTTABLE_DESC* pDesc) override {
    if (!pDesc) return D3DERR_INVALIDCALL;
    *pDesc = m_desc;
    return D3D_OK;
  }
  HRESULT GetConstantDesc(D3DXHANDLE hConstant, D3DXCONSTANT_DESC* pDesc, UINT* pCount) override {
    const ConstantEntry* e = find(hConstant);
    if (!e || !pCount) return D3DERR_INVALIDCALL;
    if (pDesc && *pCount >= 1) *pDesc = e->desc;
    *pCount = 1;
    return D3D_OK;
  }
  UINT GetSamplerIndex(D3DXHANDLE hConstant) override {
    const ConstantEntry* e = find(hConstant);
    return e && e->desc.RegisterSet == D3DXRS_SAMPLER ? e->desc.RegisterIndex : UINT(-1);
  }
  D3DXHANDLE GetConstant(D3DXHANDLE hConstant, UINT Index) override {
    if (hConstant) return GetConstantElement(hConstant, Index);
    return Index < m_top.size() ? m_top[Index]->handle.c_str() : nullptr;
  }
  D3DXHANDLE GetConstantByName(D3DXHANDLE hConstant, const char* pName) override {
    if (hConstant || !pName) return nullptr;  // no structures, so no members
    const ConstantEntry* e = find(pName);
    return e ? e->handle.c_str() : nullptr;
  }
  D3DXHANDLE GetConstantElement(D3DXHANDLE hConstant, UINT Index) override {
    const ConstantEntry* e = find(hConstant);
    if (!e) return nullptr;
    if (!e->isArray || e->top != e) return Index == 0 ? e->handle.c_str() : nullptr;
    return Index < e->elements.size() ? e->elements[Index]->handle.c_str() : nullptr;
  }

  HRESULT SetDefaults(Device* pDevice) override {
    if (!pDevice) return D3DERR_INVALIDCALL;
    HRESULT result = D3D_OK;
    for (auto& e : m_top) {
      if (!e->desc.DefaultValue) continue;
      std::vector<float> values(e->defaultFloats);
      for (std::int32_t w : e->defaultWords) values.push_back(float(w));
      const HRESULT hr = write(pDevice, *e, values);
      if (FAILED(hr) && SUCCEEDED(result)) result = hr;
    }
    return result;
  }
  HRESULT SetValue(Device* pDevice, D3DXHANDLE hConstant, const void* pData, UINT Bytes) override {
    const ConstantEntry* e = settable(pDevice, hConstant);
    if (!e || (!pData && Bytes) || Bytes % 4 != 0 || Bytes > e->desc.Bytes) return D3DERR_INVALIDCALL;
    std::vector<float> values(Bytes / 4);
    for (size_t k = 0; k < values.size(); ++k) {
      float f;
      std::int32_t w;
      std::memcpy(&f, static_cast<const char*>(pData) + 4 * k, 4);
      std::memcpy(&w, static_cast<const char*>(pData) + 4 * k, 4);
      values[k] = e->desc.Type == D3DXPT_FLOAT ? f : convert(e->desc.Type, double(w));
    }
    return write(pDevice, *e, values);
  }
  HRESULT SetBool(Device* pDevice, D3DXHANDLE hConstant, BOOL b) override {
    return SetBoolArray(pDevice, hConstant, &b, 1);
  }
  HRESULT SetBoolArray(Device* pDevice, D3DXHANDLE hConstant, const BOOL* pb, UINT Count) override {
    return setScalars(pDevice, hConstant, pb, Count, [](BOOL b) { return b != 0 ? 1.0 : 0.0; });
  }
  HRESULT SetInt(Device* pDevice, D3DXHANDLE hConstant, INT n) override {
    return SetIntArray(pDevice, hConstant, &n, 1);
  }
  HRESULT SetIntArray(Device* pDevice, D3DXHANDLE hConstant, const INT* pn, UINT Count) override {
    return setScalars(pDevice, hConstant, pn, Count, [](INT n) { return double(n); });
  }
  HRESULT SetFloat(Device* pDevice, D3DXHANDLE hConstant, float f) override {
    return SetFloatArray(pDevice, hConstant, &f, 1);
  }
  HRESULT SetFloatArray(Device* pDevice, D3DXHANDLE hConstant, const float* pf, UINT Count) override {
    return setScalars(pDevice, hConstant, pf, Count, [](float f) { return double(f); });
  }
  HRESULT SetVector(Device* pDevice, D3DXHANDLE hConstant, const D3DXVECTOR4* pVector) override {
    return SetVectorArray(pDevice, hConstant, pVector, 1);
  }
  HRESULT SetVectorArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXVECTOR4* pVector, UINT Count) override {
    const ConstantEntry* e = settable(pDevice, hConstant);
    if (!e || (!pVector && Count) || (e->desc.Class != D3DXPC_SCALAR && e->desc.Class != D3DXPC_VECTOR))
      return D3DERR_INVALIDCALL;
    std::vector<float> values;
    for (UINT k = 0; k < std::min(Count, e->desc.Elements); ++k)
      for (UINT c = 0; c < e->desc.Columns; ++c) values.push_back(convert(e->desc.Type, (&pVector[k].x)[c]));
    return write(pDevice, *e, values);
  }
  HRESULT SetMatrix(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix) override {
    return SetMatrixArray(pDevice, hConstant, pMatrix, 1);
  }
  HRESULT SetMatrixArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix, UINT Count) override {
    return setMatrices(pDevice, hConstant, pMatrix != nullptr, Count, false, [&](UINT k) { return pMatrix + k; });
  }
  HRESULT SetMatrixPointerArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX** ppMatrix,
                                UINT Count) override {
    return setMatrices(pDevice, hConstant, ppMatrix != nullptr, Count, false, [&](UINT k) { return ppMatrix[k]; });
  }
  HRESULT SetMatrixTranspose(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix) override {
    return SetMatrixTransposeArray(pDevice, hConstant, pMatrix, 1);
  }
  HRESULT SetMatrixTransposeArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX* pMatrix,
                                  UINT Count) override {
    return setMatrices(pDevice, hConstant, pMatrix != nullptr, Count, true, [&](UINT k) { return pMatrix + k; });
  }
  HRESULT SetMatrixTransposePointerArray(Device* pDevice, D3DXHANDLE hConstant, const D3DXMATRIX** ppMatrix,
                                         UINT Count) override {
    return setMatrices(pDevice, hConstant, ppMatrix != nullptr, Count, true, [&](UINT k) { return ppMatrix[k]; });
  }

 private:
  // A handle of this table, or a name ("Name" / "Name[i]") in its place.
  const ConstantEntry* find(D3DXHANDLE handle) const {
    if (!handle) return nullptr;
    for (auto* list : {&m_top, &m_elements})
      for (auto& e : *list)
        if (e->handle.c_str() == handle) return e.get();
    for (auto* list : {&m_top, &m_elements})
      for (auto& e : *list)
        if (e->handle == handle) return e.get();
    return nullptr;
  }
  const ConstantEntry* settable(Device* device, D3DXHANDLE handle) const {
    const ConstantEntry* e = device ? find(handle) : nullptr;
    return e && e->desc.Class != D3DXPC_OBJECT ? e : nullptr;
  }

  template <typename T, typename ToDouble>
  HRESULT setScalars(Device* device, D3DXHANDLE handle, const T* data, UINT count, ToDouble toDouble) {
    const ConstantEntry* e = settable(device, handle);
    if (!e || (!data && count)) return D3DERR_INVALIDCALL;
    std::vector<float> values;
    for (UINT k = 0; k < std::min(count, e->count); ++k) values.push_back(convert(e->desc.Type, toDouble(data[k])));
    return write(device, *e, values);
  }

  // matrixAt(k): the k-th matrix the caller passed (null fails the call).
  template <typename MatrixAt>
  HRESULT setMatrices(Device* device, D3DXHANDLE handle, bool given, UINT count, bool transpose, MatrixAt matrixAt) {
    const ConstantEntry* e = settable(device, handle);
    const bool matrix = e && (e->desc.Class == D3DXPC_MATRIX_ROWS || e->desc.Class == D3DXPC_MATRIX_COLUMNS);
    if (!matrix || (!given && count)) return D3DERR_INVALIDCALL;
    std::vector<float> values;
    for (UINT k = 0; k < std::min(count, e->desc.Elements); ++k) {
      const D3DXMATRIX* m = matrixAt(k);
      if (!m) return D3DERR_INVALIDCALL;
      matrixValues(*m, e->desc.Rows, transpose, &values);
    }
    return write(device, *e, values);
  }

  // Values from the entry's first one on. The device takes whole uniforms,
  // so a partial write merges with the device's current value.
  HRESULT write(Device* device, const ConstantEntry& e, const std::vector<float>& values) const {
    if (values.empty()) return D3D_OK;
    const ConstantEntry& top = *e.top;
    const UINT total = top.count;
    if (e.offset == 0 && values.size() == total) return send(device, top.name, values);
    std::vector<float> whole(total, 0.0f);
    const HRESULT hr = m_vertex ? device->getVertexShaderConstantByName(top.name.c_str(), whole.data(), total)
                                : device->getPixelShaderConstantByName(top.name.c_str(), whole.data(), total);
    if (FAILED(hr)) return hr;
    std::copy(values.begin(), values.end(), whole.begin() + e.offset);
    return send(device, top.name, whole);
  }
  HRESULT send(Device* device, const std::string& name, const std::vector<float>& values) const {
    return m_vertex ? device->setVertexShaderConstantByName(name.c_str(), values.data(), UINT(values.size()))
                    : device->setPixelShaderConstantByName(name.c_str(), values.data(), UINT(values.size()));
  }

  bool m_vertex;
  D3DXCONSTANTTABLE_DESC m_desc{};
  std::vector<std::unique_ptr<ConstantEntry>> m_top, m_elements;
  ULONG m_refs = 1;
};

// --- Validation ------------------------------------------------------------------

// The graphics back end's verdict on the emitted code. Without a back end
// that can check, the structural checks already made stand; the first such
// call says so once on the debugger output.
bool backEndAccepts(bool vertex, const std::string& code, std::string* log) {
  const ShaderCheck verdict = checkShaderStage(vertex, code, log);
  if (verdict == ShaderCheck::Unchecked) {
    static bool told = false;
    if (!told) {
      told = true;
      OutputDebugStringA("D3DXCompileShader: no graphics back end can check shaders now (no device); "
                         "shaders get the structural checks only\n");
    }
  }
  return verdict != ShaderCheck::Rejected;
}

// "vs_1_1" -> vertex, D3DVS_VERSION(1, 1); false for an unknown profile.
bool parseProfile(const std::string& profile, bool* vertex, DWORD* version) {
  static const char* const kProfiles[] = {"vs_1_1", "vs_2_0", "vs_2_a", "vs_2_sw", "vs_3_0", "ps_1_1",
                                          "ps_1_2", "ps_1_3", "ps_1_4", "ps_2_0", "ps_2_a", "ps_2_b",
                                          "ps_2_sw", "ps_3_0"};
  if (std::none_of(std::begin(kProfiles), std::end(kProfiles), [&](const char* p) { return profile == p; }))
    return false;
  *vertex = profile[0] == 'v';
  const DWORD major = DWORD(profile[3] - '0');
  const DWORD minor = profile[5] >= '0' && profile[5] <= '9' ? DWORD(profile[5] - '0') : 0;
  *version = *vertex ? D3DVS_VERSION(major, minor) : D3DPS_VERSION(major, minor);
  return true;
}

HRESULT failCompile(const std::string& messages, ID3DXBuffer** ppErrorMsgs) {
  if (ppErrorMsgs) *ppErrorMsgs = textBuffer(messages);
  return E_FAIL;
}

}  // namespace

HRESULT D3DXCreateBuffer(DWORD NumBytes, ID3DXBuffer** ppBuffer) {
  if (!ppBuffer) return D3DERR_INVALIDCALL;
  *ppBuffer = new Buffer(NumBytes);
  return D3D_OK;
}

HRESULT D3DXCompileShader(const char* pSrcData, UINT SrcDataLen, const D3DXMACRO* pDefines,
                          ID3DXInclude* pInclude, const char* pFunctionName, const char* pProfile, DWORD Flags,
                          ID3DXBuffer** ppShader, ID3DXBuffer** ppErrorMsgs, ID3DXConstantTable** ppConstantTable) {
  if (ppShader) *ppShader = nullptr;
  if (ppErrorMsgs) *ppErrorMsgs = nullptr;
  if (ppConstantTable) *ppConstantTable = nullptr;
  if (!pSrcData || !pFunctionName || !pProfile || pInclude) return D3DERR_INVALIDCALL;

  const std::string entry = pFunctionName;
  bool vertex = false;
  DWORD version = 0;
  if (!parseProfile(pProfile, &vertex, &version))
    return failCompile(std::string("(0): error: unknown profile '") + pProfile + "'\n", ppErrorMsgs);
  if (!isGlslIdentifier(entry)) return failCompile("(0): error: '" + entry + "' is not a function name\n", ppErrorMsgs);
  const std::string source(pSrcData, strnlen(pSrcData, SrcDataLen));
  GlslDiagnostics diag(source);

  // The caller's macros, then the ones the emitted code defines for itself.
  std::vector<std::pair<std::string, std::string>> defines;
  for (const D3DXMACRO* m = pDefines; m && m->Name; ++m) {
    const std::string definition = m->Definition ? m->Definition : "";
    if (!isGlslIdentifier(m->Name) || definition.find_first_of("\r\n") != std::string::npos)
      return failCompile(std::string("(0): error: bad macro '") + m->Name + "'\n", ppErrorMsgs);
    defines.emplace_back(m->Name, definition);
  }
  defines.emplace_back("D3DX_ENTRY_" + entry, "1");
  defines.emplace_back(vertex ? "D3DX_VERTEX_SHADER" : "D3DX_PIXEL_SHADER", "1");
  std::map<std::string, std::string> macros{{"GL_core_profile", "1"}, {"__VERSION__", "330"}};
  for (const auto& [name, definition] : defines) macros[name] = definition;

  const GlslSource glsl = analyseGlsl(source, macros, diag);
  if (diag.failed()) return failCompile(diag.text(), ppErrorMsgs);
  const GlslFunction* entryFunction = nullptr;
  for (const GlslFunction& f : glsl.functions)
    if (f.name == entry && (!entryFunction || f.noParameters)) entryFunction = &f;
  if (!entryFunction) return failCompile("(0): error: entry point '" + entry + "' not found\n", ppErrorMsgs);
  if (!entryFunction->isVoid || !entryFunction->noParameters) {
    diag.error(entryFunction->begin, "entry point must be declared 'void " + entry + "()'");
    return failCompile(diag.text(), ppErrorMsgs);
  }

  const std::set<std::string> reached = reachedIdentifiers(entry, glsl);
  std::vector<GlslUniform> used;
  for (const GlslUniform& u : glsl.uniforms)
    if (reached.count(u.name)) used.push_back(u);

  // The code: version, defines, then the source without the unreached functions.
  std::string code = glsl.versionEnd ? source.substr(0, glsl.versionEnd) : std::string("#version 330 core\n");
  if (code.back() != '\n') code += '\n';
  for (const auto& [name, definition] : defines)
    code += "#define " + name + (definition.empty() ? "" : " " + definition) + "\n";
  code += "#line " + std::to_string(diag.lineAt(glsl.versionEnd)) + "\n";
  code += withoutFunctions(source, glsl, reached).substr(glsl.versionEnd);
  if (entry != "main") {
    // Shader model 1 clamps the colour interpolators and the fog factor to
    // [0, 1] on their way out of the vertex stage, per vertex, before they
    // are interpolated (a fog ramp past 1 near the eye stays unfogged).
    std::string clamps;
    for (const ShaderVarying& v : declaredVaryings(glsl.active, "out"))
      if (vertex && (v.name == "COLOR" || v.name == "COLOR0" || v.name == "COLOR1" || v.name == "FOG"))
        clamps += " " + v.name + " = clamp(" + v.name + ", 0.0, 1.0);";
    code += "\nvoid main() { " + entry + "();" + clamps + " }\n";
  }

  if (!(Flags & D3DXSHADER_SKIPVALIDATION)) {
    std::string log;
    if (!backEndAccepts(vertex, code, &log)) return failCompile(log, ppErrorMsgs);
  }
  if (ppShader) *ppShader = textBuffer(code);
  if (ppConstantTable)
    *ppConstantTable = new ConstantTable(used, vertex, version, (Flags & D3DXSHADER_PACKMATRIX_ROWMAJOR) != 0);
  return D3D_OK;
}
