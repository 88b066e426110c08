#include "core/WinReg.h"

#include <windows.h>

#include <cstdlib>
#include <vector>

#include "core/ErrorCodes.h"
#include "core/TextFormat.h"

namespace zel {
namespace {

class KeyHandle {
public:
    KeyHandle(const std::string& key, bool create) {
        for (REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            LONG rc = create ? RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0,
                                               KEY_ALL_ACCESS | view, nullptr, &key_, nullptr)
                             : RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS | view, &key_);
            if (rc == ERROR_SUCCESS) return;
            key_ = nullptr;
            setLastError(static_cast<ErrorCode>(rc));
        }
    }
    ~KeyHandle() {
        if (key_) RegCloseKey(key_);
    }
    KeyHandle(const KeyHandle&) = delete;
    KeyHandle& operator=(const KeyHandle&) = delete;
    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

// Grows the buffer for as long as the value reports more data waiting.
std::optional<std::vector<BYTE>> queryValue(HKEY key, const std::string& name, DWORD* type) {
    std::vector<BYTE> data(32);
    for (;;) {
        DWORD size = static_cast<DWORD>(data.size());
        LONG rc = RegQueryValueExA(key, name.c_str(), nullptr, type, data.data(), &size);
        if (rc == ERROR_MORE_DATA) {
            data.resize(size + 1);
            continue;
        }
        if (rc != ERROR_SUCCESS) return std::nullopt;
        data.resize(size);
        return data;
    }
}

}  // namespace

std::optional<std::string> WinReg::readText(const std::string& key, const std::string& name) {
    KeyHandle handle(key, false);
    if (!handle.get()) return std::nullopt;
    DWORD type = 0;
    auto data = queryValue(handle.get(), name, &type);
    if (!data || (type != REG_SZ && type != REG_EXPAND_SZ)) return std::nullopt;
    std::string text(data->begin(), data->end());
    return text.substr(0, text.find('\0'));
}

std::string WinReg::readText(const std::string& key, const std::string& name, const std::string& fallback) {
    return readText(key, name).value_or(fallback);
}

int64_t WinReg::readNumber(const std::string& key, const std::string& name, int64_t fallback) {
    auto text = readText(key, name);
    return text ? std::strtoll(text->c_str(), nullptr, 10) : fallback;
}

std::optional<uint32_t> WinReg::readDword(const std::string& key, const std::string& name) {
    KeyHandle handle(key, false);
    if (!handle.get()) return std::nullopt;
    DWORD type = 0;
    auto data = queryValue(handle.get(), name, &type);
    if (!data || type != REG_DWORD || data->size() < 4) return std::nullopt;
    return static_cast<uint32_t>((*data)[0] | ((*data)[1] << 8) | ((*data)[2] << 16) |
                                 (static_cast<uint32_t>((*data)[3]) << 24));
}

bool WinReg::writeText(const std::string& key, const std::string& name, const std::string& value) {
    KeyHandle handle(key, true);
    if (!handle.get()) return false;
    LONG rc = RegSetValueExA(handle.get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                             static_cast<DWORD>(value.size() + 1));
    if (rc != ERROR_SUCCESS) {
        setLastError(static_cast<ErrorCode>(rc));
        return false;
    }
    RegFlushKey(handle.get());
    return true;
}

bool WinReg::writeNumber(const std::string& key, const std::string& name, int64_t value) {
    return writeText(key, name, formatText("%lld", static_cast<long long>(value)));
}

bool WinReg::deleteValue(const std::string& key, const std::string& name) {
    KeyHandle handle(key, true);
    if (!handle.get()) return false;
    return RegDeleteValueA(handle.get(), name.c_str()) == ERROR_SUCCESS;
}

}  // namespace zel
