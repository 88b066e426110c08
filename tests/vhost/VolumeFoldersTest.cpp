#include <gtest/gtest.h>

#include "vhost/VolumeFolders.h"

namespace {

using Kind = zel::vhost::VolumeFolders::PathKind;

struct Parsed {
    Kind kind = Kind::NotOnLetter;
    char letter = 0;
    std::vector<std::string> names;
};

Parsed parse(const std::string& path) {
    Parsed p;
    p.kind = zel::vhost::VolumeFolders::parse(path, &p.letter, &p.names);
    return p;
}

using Names = std::vector<std::string>;

}  // namespace

// The mapping is what keeps a dry run inside the state folder: no path on a
// letter may climb out of the volume's folder. Where that folder lies is
// checked by FileModesEndToEnd.
TEST(VolumeFolders, PathsStayBelowTheVolumesRoot) {
    struct Case {
        const char* path;
        char letter;
        Names names;
    } cases[] = {
        {"E:\\ZEL_FILEIO_0", 'E', {"ZEL_FILEIO_0"}},
        {"e:/t1/0/src.bin", 'E', {"t1", "0", "src.bin"}},
        {"\\\\?\\E:\\t1\\.\\0", 'E', {"t1", "0"}},
        {"E:\\..\\..\\..\\etc\\passwd", 'E', {"etc", "passwd"}},
        {"E:\\a\\..\\..\\b", 'E', {"b"}},
        {"E:relative\\x", 'E', {"relative", "x"}},
        {"C:", 'C', {}},
        {"D:\\\\double\\\\", 'D', {"double"}},
    };
    for (const Case& c : cases) {
        const Parsed p = parse(c.path);
        EXPECT_EQ(p.kind, Kind::OnLetter) << c.path;
        EXPECT_EQ(p.letter, c.letter) << c.path;
        EXPECT_EQ(p.names, c.names) << c.path;
    }
    for (const char* invalid : {"E:\\a*b", "E:\\x?", "E:\\a:b", "E:\\a|b", "E:\\\x01"})
        EXPECT_EQ(parse(invalid).kind, Kind::Invalid) << invalid;
    for (const char* elsewhere : {"run.log", "\\\\.\\E:", "\\\\server\\share\\x", "1:\\x", "", "E"})
        EXPECT_EQ(parse(elsewhere).kind, Kind::NotOnLetter) << elsewhere;
}
