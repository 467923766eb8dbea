// The format of the settings store and of its flash image.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rc/nvram.h"

using namespace std::string_literals;

namespace {

std::string found(std::string_view store, std::string_view key)
{
    return std::string(store_find(store, key).value_or("(none)"));
}

TEST(StoreFind, TakesTheFirstEntryThatMatchesWhole)
{
    const std::string store = "wan_ifname=ppp0\0a=1\0a=2\0e=\0v=x=y\0\0"s;
    EXPECT_EQ(found(store, "a"), "1");
    EXPECT_EQ(found(store, "e"), "");
    EXPECT_EQ(found(store, "v"), "x=y");
    EXPECT_EQ(found(store, "wan"), "(none)");
    EXPECT_EQ(found(store, "wan_ifname"), "ppp0");
    EXPECT_EQ(found(store, "wan_ifname=ppp0"), "(none)");
    EXPECT_EQ(found(store, "ifname"), "(none)");
    EXPECT_EQ(found(store, "A"), "(none)");
}

TEST(StoreFind, EndsAtTheEmptyEntry)
{
    EXPECT_EQ(found("a=1\0\0b=2\0\0"s, "b"), "(none)");
}

TEST(StoreFind, ReadsNothingPastADamagedEnd)
{
    EXPECT_EQ(found("", "a"), "(none)");
    EXPECT_EQ(found("\0"s, "a"), "(none)");
    EXPECT_EQ(found("a"s, "a"), "(none)");
    EXPECT_EQ(found("a\0"s, "a"), "(none)");
    EXPECT_EQ(found("a="s, "a"), "");
    EXPECT_EQ(found("a=12"s, "a"), "12");
    EXPECT_EQ(found("a=1\0b"s, "b"), "(none)");
    EXPECT_EQ(found("a=1\0b=2"s, "b"), "2");
}

TEST(StoreReplace, AppendsANewKey)
{
    EXPECT_EQ(store_replace("", "a", "1"), "a=1\0\0"s);
    EXPECT_EQ(store_replace("\0"s, "a", "1"), "a=1\0\0"s);
    EXPECT_EQ(store_replace("a=1\0\0"s, "b", ""), "a=1\0b=\0\0"s);
    EXPECT_EQ(store_replace("wan_ifname=x\0\0"s, "wan", "1"), "wan_ifname=x\0wan=1\0\0"s);
}

TEST(StoreReplace, KeepsTheEntrysPlace)
{
    EXPECT_EQ(store_replace("a=1\0b=2\0c=3\0\0"s, "b", "longer=x"), "a=1\0b=longer=x\0c=3\0\0"s);
    EXPECT_EQ(store_replace("a=1\0b=2\0c=3\0\0"s, "c", ""), "a=1\0b=2\0c=\0\0"s);
}

TEST(StoreReplace, ReplacesDuplicatesAll)
{
    EXPECT_EQ(store_replace("a=1\0b=2\0a=3\0\0"s, "a", "4"), "a=4\0b=2\0a=4\0\0"s);
}

TEST(StoreReplace, MendsADamagedEnd)
{
    EXPECT_EQ(store_replace("a=1"s, "b", "2"), "a=1\0b=2\0\0"s);
    EXPECT_EQ(store_replace("a=1\0b"s, "c", "3"), "a=1\0b\0c=3\0\0"s);
    EXPECT_EQ(store_replace("a=1\0\0x=9\0\0"s, "b", "2"), "a=1\0b=2\0\0"s);
}

TEST(StoreReplace, OfAMegabyteIsWhole)
{
    const std::string big(1 << 20, 'x');
    const std::string store = store_replace("a=1\0b=2\0\0"s, "a", big);
    EXPECT_EQ(store.size(), big.size() + 8);
    EXPECT_EQ(found(store, "a"), big);
    EXPECT_EQ(found(store, "b"), "2");
}

TEST(Crc32, HasTheKnownValues)
{
    EXPECT_EQ(crc32(""), 0U);
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
    EXPECT_EQ(crc32("\xff\xff\xff\xff"), 0xFFFFFFFFU);
}

TEST(FlashHeader, IsBigEndian)
{
    unsigned char bytes[kFlashHeaderSize] = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    write_flash_header({kFlashMagic, 0x01020304, 0xFFEEDDCC}, bytes);
    const unsigned char expected[kFlashHeaderSize] = {0,    0x4E, 0x4F, 0x52, 1, 2, 3, 4,
                                                      0xFF, 0xEE, 0xDD, 0xCC, 0, 0, 0, 0};
    for (size_t i = 0; i < kFlashHeaderSize; ++i) {
        EXPECT_EQ(bytes[i], expected[i]) << i;
    }
    const FlashHeader header = read_flash_header(bytes);
    EXPECT_EQ(header.magic, kFlashMagic);
    EXPECT_EQ(header.length, 0x01020304U);
    EXPECT_EQ(header.checksum, 0xFFEEDDCCU);
}

// ---- whole files ----------------------------------------------------------------------------------------

class WholeFile : public testing::Test {
  protected:
    WholeFile() { folder_ = mkdtemp(name_); }
    ~WholeFile() override
    {
        unlink(path().c_str());
        rmdir(name_);
    }
    std::string path() const { return folder_ + "/file"; }

    char name_[32] = "/tmp/store_test.XXXXXX";
    std::string folder_;
};

TEST_F(WholeFile, IsWrittenAndReadBack)
{
    Bytes bytes;
    EXPECT_EQ(writeFileBin(path().c_str(), "a\0b"s), 0);
    EXPECT_EQ(readFileBin(path().c_str(), bytes), 3);
    EXPECT_EQ(bytes.view(), "a\0b"s);
    EXPECT_EQ(writeFileBin(path().c_str(), ""), 0);
    EXPECT_EQ(readFileBin(path().c_str(), bytes), 0);
    EXPECT_EQ(bytes.view(), "");
}

TEST_F(WholeFile, IsForItsOwnerAlone)
{
    struct stat status = {};
    EXPECT_EQ(writeFileBin(path().c_str(), "x"), 0);
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(WholeFile, ThatIsNoneIsReported)
{
    Bytes bytes;
    EXPECT_EQ(readFileBin(path().c_str(), bytes), -1);
    EXPECT_EQ(readFileBin(folder_.c_str(), bytes), -1);
    EXPECT_LT(writeFileBin(folder_.c_str(), "x"), 0);
    EXPECT_LT(writeFileBin((path() + "/x").c_str(), "x"), 0);
}

}  // namespace
