#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <regex>

#include "tests/io/VhostFixture.h"
#include "tests/support/StandInControl.h"

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMiB = 1 << 20;

using zeltest::contains;

// Disk 1 is the DUT with E.
std::string host(const std::string& volumeE, bool withTools = false) {
    return zeltest::ioHost(R"(, "volumes": [)" + volumeE + "]", "",
                           withTools ? R"("toolsFolder": ")" + zeltest::StandInControl::toolsFolder() + R"(", )" : "");
}

uint64_t folderBytes(const fs::path& folder) {
    uint64_t bytes = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (it->is_regular_file()) bytes += it->file_size();
    return bytes;
}

class FileModesEndToEnd : public zeltest::VhostFixture {
protected:
    // Where the host keeps the files of a volume.
    fs::path volume(char letter) const { return fs::path(dir_->file("host.json.state")) / "volumes" / std::string(1, letter); }
    void put(const fs::path& path, const std::string& bytes) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
    }
};

}  // namespace

TEST_F(FileModesEndToEnd, PreconditionFillsTheVolumeFolderToItsCoverage) {
    useHost(host(R"({"letter": "E", "totalBytes": "4m", "freeBytes": "3m"})"));
    auto filled = runExpecting("-a rw -d 1 --rw precondition --iotype file --size 50%", 0u,
                               {"Precondition E: 3145728 of 4194304 bytes free, writing 2097152 bytes",
                                "[T1] disk 1, precondition E:, 2097152 bytes in 1 files by block size 256",
                                "[T1] SUCCESS: precondition to disk 1"});
    EXPECT_TRUE(std::regex_search(filled.output, std::regex("\r\\[100%\\] precondition 2097152\\.\\.\\.\r?\n")))
        << "progress as the LBA modes print it, ended by a line feed";
    EXPECT_FALSE(contains(file("run.log"), "[100%]")) << "progress stays off the log";
    const std::string data = zeltest::readFile((volume('E') / "ZEL_FILEIO_0").string());
    ASSERT_EQ(data.size(), 2 * kMiB);
    EXPECT_EQ(data.substr(0, 4) + data.substr(data.size() - 2), "\x55\xAA\x55\xAA\x55\xAA") << "the fixed pattern";

    // The earlier fill files go first; the data of the description stays.
    runExpecting("-a rw -d 1 --rw precondition --iotype file --size 50% --includedata --pattern zero", 0u,
                 {"Precondition E: 3145728 of 4194304 bytes free, writing 1048576 bytes"});
    EXPECT_EQ(folderBytes(volume('E')), kMiB) << "one fill file, the earlier one removed";

    runExpecting("-a rw -d 1 --rw precondition --iotype file --size 50% --freespace", 0u, {"writing 1572864 bytes"});
    EXPECT_EQ(folderBytes(volume('E')), 1572864u);
}

TEST_F(FileModesEndToEnd, PreconditionThreadsWriteTheirOwnFilesOrAreRefused) {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    const unsigned threads = info.dwNumberOfProcessors;
    useHost(host(R"({"letter": "E", "totalBytes": "4m", "freeBytes": "4m"})"));
    auto filled = runExpecting("-a rw -d 1 --rw precondition --iotype file --size 2m --thread --bs 4k", 0u);
    for (unsigned t = 1; t <= threads; ++t) {
        EXPECT_TRUE(contains(filled.output, "[T" + std::to_string(t) + "] SUCCESS: precondition to disk 1"));
        EXPECT_TRUE(fs::exists(volume('E') / ("ZEL_FILEIO_" + std::to_string(t - 1)))) << t;
    }
    EXPECT_EQ(folderBytes(volume('E')), 2 * kMiB);
    // The system disk's C: is a virtual volume too: its files stay in the
    // state folder and the machine's own C: is never written.
    const bool hadOwn = GetFileAttributesA("C:\\ZEL_FILEIO_0") != INVALID_FILE_ATTRIBUTES;
    runExpecting("-a rw -d 0 --rw precondition --iotype file --size 1m", 0u);
    EXPECT_EQ(fs::file_size(volume('C') / "ZEL_FILEIO_0"), kMiB);
    EXPECT_EQ(GetFileAttributesA("C:\\ZEL_FILEIO_0") != INVALID_FILE_ATTRIBUTES, hadOwn);
    if (threads < 2) GTEST_SKIP() << "one processor: a single thread always fits";
    runExpecting("-a rw -d 1 --rw precondition --iotype file --size 4k --thread --bs 4k", 0x2000000Du,
                 {"Partition size is not big enough to run " + std::to_string(threads) + " threads at the same time"});
    EXPECT_FALSE(fs::exists(volume('E') / "ZEL_FILEIO_0")) << "nothing written";
}

TEST_F(FileModesEndToEnd, CopyFilesIntoPerThreadFoldersBetweenLetters) {
    useHost(host(R"({"letter": "E", "totalBytes": "4m", "freeBytes": "4m"})"));
    std::string source(300000, '\0');
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<char>(i * 7 + i / 256);
    put(volume('C') / "data" / "src.bin", source);
    runExpecting("-a rw -d 1 --rw write --iotype file --src C:\\data\\src.bin --dest E: --totalloop 2 --bs 64k", 0u,
                 {"[T1] copy files from C:\\data\\src.bin", "[T1] Copying file from C:\\data\\src.bin to E:\\t1\\0",
                  "[T1] Copying file from C:\\data\\src.bin to E:\\t1\\1", "[T1] SUCCESS: copy files to disk 1"});
    for (const char* copy : {"0", "1"})
        EXPECT_EQ(zeltest::readFile((volume('E') / "t1" / copy / "src.bin").string()), source) << copy;
    EXPECT_FALSE(fs::exists(volume('E') / "t1" / "2"));

    // Without --totalloop the coverage of the destination decides: 1m / 300000.
    auto covered = runExpecting("-a rw -d 1 --rw write --iotype file --src C:\\data\\src.bin --size 1m", 0u);
    EXPECT_TRUE(fs::exists(volume('E') / "t1" / "2" / "src.bin"));
    EXPECT_FALSE(contains(covered.output, "E:\\t1\\3"));
}

TEST_F(FileModesEndToEnd, CopyStopsWhenTheVolumeIsFullAndRefusesWhatCannotRun) {
    useHost(host(R"({"letter": "E", "totalBytes": "4m", "freeBytes": "1m"})"));
    put(volume('C') / "half.bin", std::string(512 * 1024, 'h'));
    runExpecting("-a rw -d 1 --rw write --iotype file --src C:\\half.bin --totalloop 3", ERROR_DISK_FULL,
                 {"[T1] FAIL: copy files to disk 1 at E:\\t1\\2\\half.bin offset 0... (LE=0x70"});
    EXPECT_EQ(folderBytes(volume('E')), kMiB) << "the volume holds exactly its free space";

    put(volume('C') / "big.bin", std::string(2 * kMiB, 'b'));
    const struct { const char* args; uint32_t code; const char* line; } refused[] = {
        {"--rw write --iotype file --src C:\\big.bin", ERROR_DISK_FULL,
         "Partition size is not big enough to run 1 threads at the same time"},
        {"--rw write --iotype file --src C:\\nothing.bin", ERROR_FILE_NOT_FOUND,
         "Cannot open the source file C:\\nothing.bin... (LE=0x2,"},
        {"--rw write --iotype file", 0x20000004, "Miss some options (src)!"},
        {"--rw write --iotype file --src C:\\half.bin --dest C:", 0x20000004, "Destination C: is not a volume of disk 1"},
        {"--rw write --iotype file --src Q:\\x.bin", ERROR_PATH_NOT_FOUND, ""},  // no virtual volume Q: in a dry run
        {"--rw read --iotype file", 0x20000003, "RW mode not supported!"},
        {"--rw randwrite --iotype file", 0x20000003, "RW mode not supported!"},
        {"--rw precondition", 0x20000003, "RW mode not supported!"},  // without a file form
    };
    for (const auto& r : refused) runExpecting(std::string("-a rw -d 1 ") + r.args, r.code, {r.line});
}

TEST_F(FileModesEndToEnd, FormatAndCleanBeforeThePrecondition) {
    useHost(host(R"({"letter": "E", "totalBytes": "2m", "freeBytes": "1m"})", true));
    put(volume('E') / "old.bin", "left by an earlier file system");
    // The stand-in's partition: the capacity (4 MiB) less 1 MiB, all free.
    runExpecting("--formatd -d 1 -a rw --rw precondition --iotype file --size 50%", 0u,
                 {"Precondition E: 3145728 of 3145728 bytes free, writing 1572864 bytes"});
    EXPECT_FALSE(fs::exists(volume('E') / "old.bin")) << "a format leaves an empty volume";
    EXPECT_EQ(fs::file_size(volume('E') / "ZEL_FILEIO_0"), 1572864u);

    runExpecting("--cleand -d 1 -a rw --rw precondition --iotype file", 0x20000006u);
    EXPECT_FALSE(fs::exists(volume('E') / "ZEL_FILEIO_0")) << "the clean took the files with the volume";
}
