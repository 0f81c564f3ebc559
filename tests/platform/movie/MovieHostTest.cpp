#include "platform/movie/AxHost.h"
#include "platform/movie/ShockwaveFlash.h"

#include "TestMovies.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

// A scratch directory for movie files, removed with its contents.
class MovieDir {
 public:
  MovieDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vxmovie-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) std::abort();
    m_path = pattern;
  }
  ~MovieDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  std::string write(const std::string& name, const MovieBytes& bytes) const {
    const std::string path = m_path + "/" + name;
    EXPECT_TRUE(writeMovieFile(path, bytes)) << path;
    return path;
  }

 private:
  std::string m_path;
};

// A BSTR from a UTF-8 path, freed with the object.
class Bstr {
 public:
  explicit Bstr(const std::string& utf8) {
    WCHAR wide[1024];
    if (MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, wide, 1024) > 0) m_text = SysAllocString(wide);
  }
  ~Bstr() { SysFreeString(m_text); }
  operator BSTR() const { return m_text; }

 private:
  BSTR m_text = nullptr;
};

std::u16string classString(const CLSID& clsid) {
  LPOLESTR text = nullptr;
  StringFromCLSID(clsid, &text);
  std::u16string copy(text);
  CoTaskMemFree(text);
  return copy;
}

class MovieHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    AtlAxWinInit();
    m_windowsBefore = liveHostWindows();
    m_controlsBefore = liveFlashControls();
  }
  void TearDown() override {
    EXPECT_EQ(liveHostWindows(), m_windowsBefore);
    EXPECT_EQ(liveFlashControls(), m_controlsBefore);
  }

  // A hidden host window with a control in it; the control's interface with
  // one reference for the test.
  IShockwaveFlash* hostControl(CAxWindow& window) {
    RECT rect = {0, 0, 800, 600};
    EXPECT_NE(window.Create(nullptr, rect, nullptr, WS_POPUP), nullptr);
    IAxWinHostWindow* host = nullptr;
    EXPECT_EQ(window.QueryHost(IID_IAxWinHostWindow, reinterpret_cast<void**>(&host)), S_OK);
    if (!host) return nullptr;
    EXPECT_EQ(host->CreateControlEx(classString(CLSID_ShockwaveFlash).c_str(), window.m_hWnd, nullptr, nullptr,
                                    IID_NULL, nullptr),
              S_OK);
    host->Release();
    IShockwaveFlash* flash = nullptr;
    EXPECT_EQ(window.QueryControl(IID_IShockwaveFlash, reinterpret_cast<void**>(&flash)), S_OK);
    return flash;
  }

  MovieDir m_dir;
  int m_windowsBefore = 0;
  int m_controlsBefore = 0;
};

TEST_F(MovieHostTest, HostWindowNeedsTheRegisteredClass) {
  AtlAxWinTerm();
  CAxWindow window;
  RECT rect = {0, 0, 10, 10};
  EXPECT_EQ(window.Create(nullptr, rect), nullptr);
  EXPECT_FALSE(window.IsWindow());
  AtlAxWinInit();
  EXPECT_NE(window.Create(nullptr, rect), nullptr);
  EXPECT_EQ(window.Create(nullptr, rect), nullptr);  // one window per object
  EXPECT_EQ(liveHostWindows(), m_windowsBefore + 1);
}

TEST_F(MovieHostTest, WindowKeepsStyleAndRectangleAndIsNeverVisibleUnlessAsked) {
  RECT rect = {0, 0, 800, 600};
  AdjustWindowRect(&rect, WS_POPUP, FALSE);
  EXPECT_EQ(rect.left, 0);
  EXPECT_EQ(rect.bottom, 600);
  CAxWindow window;
  ASSERT_NE(window.Create(nullptr, rect, nullptr, WS_POPUP), nullptr);
  EXPECT_EQ(window.GetStyle(), WS_POPUP);
  EXPECT_FALSE(window.IsWindowVisible());
  RECT got;
  ASSERT_TRUE(window.GetWindowRect(&got));
  EXPECT_EQ(got.right, 800);
  EXPECT_EQ(got.bottom, 600);

  RECT framed = {0, 0, 800, 600};
  AdjustWindowRect(&framed, WS_CAPTION | WS_THICKFRAME, FALSE);
  EXPECT_EQ(framed.left, -7);
  EXPECT_EQ(framed.top, -26);
  EXPECT_EQ(framed.right, 807);
  EXPECT_EQ(framed.bottom, 607);
}

TEST_F(MovieHostTest, DestroyingAWindowReleasesItsControlAndChildren) {
  auto* parent = new CAxWindow;
  IShockwaveFlash* flash = hostControl(*parent);
  ASSERT_NE(flash, nullptr);
  CAxWindow child;
  RECT rect = {0, 0, 1, 1};
  ASSERT_NE(child.Create(parent->m_hWnd, rect, nullptr, WS_CHILD), nullptr);
  EXPECT_EQ(child.GetParent(), parent->m_hWnd);
  EXPECT_EQ(liveFlashControls(), m_controlsBefore + 1);
  EXPECT_EQ(flash->Release(), 1u);  // the host's reference remains
  delete parent;
  EXPECT_FALSE(child.IsWindow());
  EXPECT_EQ(child.GetStyle(), 0u);
  EXPECT_EQ(liveFlashControls(), m_controlsBefore);
}

TEST_F(MovieHostTest, HostCreatesOnlyTheMovieControl) {
  CAxWindow window;
  RECT rect = {0, 0, 1, 1};
  ASSERT_NE(window.Create(nullptr, rect), nullptr);
  IAxWinHostWindow* host = nullptr;
  ASSERT_EQ(window.QueryHost(IID_IAxWinHostWindow, reinterpret_cast<void**>(&host)), S_OK);
  void* object = nullptr;
  EXPECT_EQ(window.QueryHost(IID_IShockwaveFlash, &object), E_NOINTERFACE);
  EXPECT_EQ(host->QueryControl(IID_IShockwaveFlash, &object), E_FAIL);  // nothing hosted yet

  const std::u16string flashClass = classString(CLSID_ShockwaveFlash);
  EXPECT_EQ(host->CreateControlEx(classString(IID_IShockwaveFlash).c_str(), window.m_hWnd, nullptr, nullptr, IID_NULL,
                                  nullptr),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(host->CreateControlEx(u"ShockwaveFlash.ShockwaveFlash", window.m_hWnd, nullptr, nullptr, IID_NULL, nullptr),
            CO_E_CLASSSTRING);
  EXPECT_EQ(host->CreateControlEx(flashClass.c_str(), window.m_hWnd, nullptr, nullptr, IID_IShockwaveFlash, nullptr),
            E_NOTIMPL);
  EXPECT_EQ(host->CreateControlEx(flashClass.c_str(), nullptr, nullptr, nullptr, IID_NULL, nullptr), E_INVALIDARG);
  EXPECT_EQ(liveFlashControls(), m_controlsBefore);

  void* unknown = nullptr;
  ASSERT_EQ(host->CreateControlEx(flashClass.c_str(), window.m_hWnd, nullptr, &unknown, IID_NULL, nullptr), S_OK);
  ASSERT_NE(unknown, nullptr);
  IShockwaveFlash* flash = nullptr;
  IViewObjectEx* view = nullptr;
  ASSERT_EQ(host->QueryControl(IID_IShockwaveFlash, reinterpret_cast<void**>(&flash)), S_OK);
  ASSERT_EQ(host->QueryControl(IID_IViewObjectEx, reinterpret_cast<void**>(&view)), S_OK);
  EXPECT_EQ(flash, unknown);
  EXPECT_EQ(host->QueryControl(IID_IAxWinHostWindow, &object), E_NOINTERFACE);

  // The window goes first; the interfaces the test holds keep the control.
  window.DestroyWindow();
  EXPECT_EQ(liveFlashControls(), m_controlsBefore + 1);
  EXPECT_EQ(host->CreateControl(flashClass.c_str(), nullptr, nullptr), E_FAIL);
  host->Release();
  static_cast<IShockwaveFlash*>(unknown)->Release();
  view->Release();
  EXPECT_EQ(flash->Release(), 0u);
}

TEST_F(MovieHostTest, ControlStoresItsSettingsAndRefusesBadValues) {
  CAxWindow window;
  IShockwaveFlash* flash = hostControl(window);
  ASSERT_NE(flash, nullptr);
  int quality = -1;
  LONG color = 0;
  VARIANT_BOOL flag = 0;
  EXPECT_EQ(flash->put_Menu(FALSE), S_OK);
  EXPECT_EQ(flash->get_Menu(&flag), S_OK);
  EXPECT_EQ(flag, VARIANT_FALSE);
  EXPECT_EQ(flash->put_Menu(7), S_OK);  // any non-zero is true
  flash->get_Menu(&flag);
  EXPECT_EQ(flag, VARIANT_TRUE);

  EXPECT_EQ(flash->put_Quality(0), S_OK);
  EXPECT_EQ(flash->put_Quality(5), S_OK);
  EXPECT_EQ(flash->put_Quality(6), E_INVALIDARG);
  EXPECT_EQ(flash->put_Quality(-1), E_INVALIDARG);
  flash->get_Quality(&quality);
  EXPECT_EQ(quality, 5);

  EXPECT_EQ(flash->put_BackgroundColor(0x123456), S_OK);
  EXPECT_EQ(flash->put_BackgroundColor(0x1000000), E_INVALIDARG);
  flash->get_BackgroundColor(&color);
  EXPECT_EQ(color, 0x123456);
  EXPECT_EQ(flash->put_BackgroundColor(-1), S_OK);

  EXPECT_EQ(flash->put_Playing(FALSE), S_OK);
  flash->get_Playing(&flag);
  EXPECT_EQ(flag, VARIANT_FALSE);
  EXPECT_EQ(flash->get_Quality(nullptr), E_POINTER);
  flash->Release();
}

TEST_F(MovieHostTest, ControlLoadsPlainAndCompressedMovies) {
  CAxWindow window;
  IShockwaveFlash* flash = hostControl(window);
  ASSERT_NE(flash, nullptr);
  LONG frames = 99;
  EXPECT_EQ(flash->get_TotalFrames(&frames), E_FAIL);
  EXPECT_EQ(frames, 0);

  const std::string plain = m_dir.write("plain.swf", plainMovie(120));
  ASSERT_EQ(flash->put_Movie(Bstr(plain)), S_OK);
  EXPECT_EQ(flash->get_TotalFrames(&frames), S_OK);
  EXPECT_EQ(frames, 120);
  BSTR loaded = nullptr;
  ASSERT_EQ(flash->get_Movie(&loaded), S_OK);
  std::string loadedPath;
  EXPECT_TRUE(wideToUtf8(loaded, SysStringLen(loaded), &loadedPath));
  EXPECT_EQ(loadedPath, plain);
  SysFreeString(loaded);

  TestMovie movie;
  movie.signature = 'C';
  movie.frameCount = 65535;
  movie.frameRate = 30 << 8;
  movie.xMax = 960 * 20;
  movie.yMax = 540 * 20;
  ASSERT_EQ(flash->put_Movie(Bstr(m_dir.write("packed \xC3\xA9.swf", movieFile(movie)))), S_OK);
  flash->get_TotalFrames(&frames);
  EXPECT_EQ(frames, 65535);
  double rate = 0;
  EXPECT_EQ(flash->get_FrameRate(&rate), S_OK);
  EXPECT_DOUBLE_EQ(rate, 30.0);

  IViewObjectEx* view = nullptr;
  ASSERT_EQ(flash->QueryInterface(IID_IViewObjectEx, reinterpret_cast<void**>(&view)), S_OK);
  SIZEL extent;
  ASSERT_EQ(view->GetExtent(DVASPECT_CONTENT, &extent), S_OK);
  EXPECT_EQ(extent.cx, 25400);  // 960 pixels = 10 inches
  EXPECT_EQ(extent.cy, 14287);
  EXPECT_EQ(view->GetExtent(2, &extent), E_INVALIDARG);
  view->Release();
  flash->Release();
}

TEST_F(MovieHostTest, FailedLoadLeavesTheControlWithoutAMovie) {
  CAxWindow window;
  IShockwaveFlash* flash = hostControl(window);
  ASSERT_NE(flash, nullptr);
  ASSERT_EQ(flash->put_Movie(Bstr(m_dir.write("good.swf", plainMovie(3)))), S_OK);

  const MovieBytes text = {'n', 'o', 't', ' ', 'a', ' ', 'm', 'o', 'v', 'i', 'e', '\n'};
  TestMovie lzma;
  lzma.signature = 'Z';
  struct Case {
    std::string path;
    HRESULT expected;
  } cases[] = {
      {m_dir.write("text.swf", text), CTL_E_INVALIDFILEFORMAT},
      {m_dir.write("lzma.swf", movieFile(lzma)), CTL_E_INVALIDFILEFORMAT},
      {m_dir.write("empty.swf", {}), CTL_E_INVALIDFILEFORMAT},
      {m_dir.write("good.swf", plainMovie(3)) + ".missing", HRESULT_FILE_NOT_FOUND},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(flash->put_Movie(Bstr(m_dir.write("good.swf", plainMovie(3)))), S_OK);
    EXPECT_EQ(flash->put_Movie(Bstr(c.path)), c.expected) << c.path;
    LONG frames = 1;
    EXPECT_EQ(flash->get_TotalFrames(&frames), E_FAIL) << c.path;
    BSTR loaded = reinterpret_cast<BSTR>(1);
    flash->get_Movie(&loaded);
    EXPECT_EQ(loaded, nullptr);
  }
  EXPECT_EQ(flash->put_Movie(nullptr), E_INVALIDARG);
  flash->Release();
}

}  // namespace
