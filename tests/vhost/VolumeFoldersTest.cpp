#include <gtest/gtest.h>

#include "vhost/VolumeFolders.h"

using Kind = zel::vhost::VolumeFolders::PathKind;
using Names = std::vector<std::string>;

// The mapping is what keeps a dry run inside the state folder: no path on a
// letter may climb out of the volume's folder. Where that folder lies is
// checked by FileModesEndToEnd.
TEST(VolumeFolders, PathsStayBelowTheVolumesRoot) {
    const struct {
        const char* path;
        Kind kind;
        char letter;
        Names names;
    } cases[] = {
        {"E:\\ZEL_FILEIO_0", Kind::OnLetter, 'E', {"ZEL_FILEIO_0"}},
        {"e:/t1/0/src.bin", Kind::OnLetter, 'E', {"t1", "0", "src.bin"}},
        {"\\\\?\\E:\\t1\\.\\0", Kind::OnLetter, 'E', {"t1", "0"}},
        {"E:\\..\\..\\..\\etc\\passwd", Kind::OnLetter, 'E', {"etc", "passwd"}},
        {"E:\\a\\..\\..\\b", Kind::OnLetter, 'E', {"b"}},
        {"E:relative\\x", Kind::OnLetter, 'E', {"relative", "x"}},
        {"C:", Kind::OnLetter, 'C', {}},
        {"D:\\\\double\\\\", Kind::OnLetter, 'D', {"double"}},
    };
    for (const auto& c : cases) {
        char letter = 0;
        Names names;
        EXPECT_EQ(zel::vhost::VolumeFolders::parse(c.path, &letter, &names), c.kind) << c.path;
        EXPECT_EQ(letter, c.letter) << c.path;
        EXPECT_EQ(names, c.names) << c.path;
    }
    const std::pair<Kind, Names> others[] = {
        {Kind::Invalid, {"E:\\a*b", "E:\\x?", "E:\\a:b", "E:\\a|b", "E:\\\x01"}},
        {Kind::NotOnLetter, {"run.log", "\\\\.\\E:", "\\\\server\\share\\x", "1:\\x", "", "E"}},
    };
    for (const auto& [kind, paths] : others)
        for (const std::string& path : paths) {
            char letter = 0;
            Names names;
            EXPECT_EQ(zel::vhost::VolumeFolders::parse(path, &letter, &names), kind) << path;
        }
}
