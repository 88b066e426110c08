#include "host/Screenshot.h"

#include <windows.h>

#include <cstring>

#include "host/BmpHeader.h"

namespace zel {
namespace {

struct ScreenSize {
    LONG width = 0;
    LONG height = 0;
};

// Windows hands out the screen's surface as the screen DC's bitmap. Where
// that bitmap cannot be read (Wine has none), the virtual screen's size
// stands in, which is what the copy below starts from anyway.
ScreenSize screenSize(HDC screen) {
    BITMAP surface{};
    if (GetObjectW(GetCurrentObject(screen, OBJ_BITMAP), sizeof(surface), &surface))
        return {surface.bmWidth, surface.bmHeight};
    return {GetSystemMetrics(SM_CXVIRTUALSCREEN), GetSystemMetrics(SM_CYVIRTUALSCREEN)};
}

void writeBmp(const std::string& path, const uint8_t* headers, const void* pixels, DWORD pixelBytes) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    DWORD written = 0;
    WriteFile(file, headers, kBmpHeadersSize - kBmpInfoHeaderSize, &written, nullptr);
    WriteFile(file, headers + kBmpHeadersSize - kBmpInfoHeaderSize, kBmpInfoHeaderSize, &written, nullptr);
    if (pixels) WriteFile(file, pixels, pixelBytes, &written, nullptr);
    CloseHandle(file);
}

}  // namespace

bool takeScreenshot(const std::string& path) {
    HDC screen = GetDC(nullptr);
    const ScreenSize size = screenSize(screen);
    const auto headers = bmpHeaders(size.width, size.height);
    BITMAPINFO info{};
    std::memcpy(&info.bmiHeader, headers.data() + kBmpHeadersSize - kBmpInfoHeaderSize, kBmpInfoHeaderSize);

    HDC memory = CreateCompatibleDC(screen);
    void* pixels = nullptr;
    HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    HGDIOBJ previous = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, size.width, size.height, screen, GetSystemMetrics(SM_XVIRTUALSCREEN),
           GetSystemMetrics(SM_YVIRTUALSCREEN), SRCCOPY);
    GdiFlush();
    writeBmp(path, headers.data(), pixels, bmpStride(size.width) * static_cast<DWORD>(size.height));

    SelectObject(memory, previous);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return true;
}

}  // namespace zel
