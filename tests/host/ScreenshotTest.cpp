#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

const RECT kMarker = {40, 30, 104, 78};

LRESULT CALLBACK paintRed(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_PAINT) return DefWindowProcA(window, message, wParam, lParam);
    PAINTSTRUCT paint;
    HDC dc = BeginPaint(window, &paint);
    HBRUSH red = CreateSolidBrush(RGB(255, 0, 0));
    FillRect(dc, &paint.rcPaint, red);  // every paint is red, so the whole window ends up red
    DeleteObject(red);
    EndPaint(window, &paint);
    return 0;
}

// A red, borderless, topmost window at kMarker, painted before it returns.
HWND showMarker() {
    WNDCLASSA type{};
    type.lpfnWndProc = paintRed;
    type.hInstance = GetModuleHandleA(nullptr);
    type.lpszClassName = "ZelTestMarker";
    RegisterClassA(&type);
    HWND window = CreateWindowExA(WS_EX_TOPMOST, type.lpszClassName, "", WS_POPUP | WS_VISIBLE, kMarker.left,
                                  kMarker.top, kMarker.right - kMarker.left, kMarker.bottom - kMarker.top, nullptr,
                                  nullptr, type.hInstance, nullptr);
    UpdateWindow(window);
    for (DWORD end = GetTickCount() + 500; GetTickCount() < end; Sleep(10)) {
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    }
    GdiFlush();
    return window;
}

TEST(Screenshot, WholeScreenAsBottomUpBmpWithSizeFieldZero) {
    zeltest::TempDir dir;
    HWND marker = showMarker();
    auto run = zeltest::runZelCli("--screenshot shot.bmp --logdir \"" + dir.path() + "\"", dir.path());
    DestroyWindow(marker);
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    const std::string file = zeltest::readFile(dir.file("shot.bmp"));
    ASSERT_GE(file.size(), sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)) << "a relative path goes to the log folder";

    // The headers field by field: 24-bit bottom-up RGB of the whole virtual
    // screen, the file size and image size left 0.
    const LONG width = GetSystemMetrics(SM_CXVIRTUALSCREEN), height = GetSystemMetrics(SM_CYVIRTUALSCREEN);
    const BITMAPFILEHEADER head{0x4D42, 0, 0, 0, 54};
    const BITMAPINFOHEADER info{40, width, height, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    EXPECT_EQ(file.compare(0, sizeof(head), reinterpret_cast<const char*>(&head), sizeof(head)), 0);
    EXPECT_EQ(file.compare(sizeof(head), sizeof(info), reinterpret_cast<const char*>(&info), sizeof(info)), 0);
    const size_t stride = (static_cast<size_t>(width) * 3 + 3) / 4 * 4;
    ASSERT_EQ(file.size(), 54 + stride * static_cast<size_t>(height));

    if (GetEnvironmentVariableA("DISPLAY", nullptr, 0) <= 1)
        GTEST_SKIP() << "no X display: the pixels were not captured";
    // Blue, green, red per pixel, the bottom row first.
    auto pixel = [&](LONG x, LONG y) { return file.substr(54 + (height - 1 - y) * stride + 3 * x, 3); };
    const std::string red("\x00\x00\xff", 3);
    EXPECT_EQ(pixel(kMarker.left, kMarker.top), red);
    EXPECT_EQ(pixel(kMarker.right - 1, kMarker.bottom - 1), red);
    EXPECT_NE(pixel(kMarker.left - 1, kMarker.top), red);
    EXPECT_NE(pixel(kMarker.left, kMarker.bottom), red);
}

TEST(Screenshot, UnwritablePathStillAnswersZero) {
    zeltest::TempDir dir;
    auto run = zeltest::runZelCli("--screenshot \"" + dir.file("missing\\shot.bmp") + "\"");
    EXPECT_EQ(run.exitCode, 0u) << run.output;
    EXPECT_FALSE(zeltest::fileExists(dir.file("missing\\shot.bmp")));
    EXPECT_EQ(run.output, "");
}

}  // namespace
