// The lease table: record format, reading, and reservations put into it.
#include "rc/lan/leases.h"
#include "rc/bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// Bytes of a record as the file has them.
std::string record_bytes(const LeaseRecord &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

LeaseRecord record_of(unsigned char hardware, uint32_t address, uint32_t seconds)
{
    LeaseRecord record = {};
    memset(record.hardware, hardware, 6);
    put_big_endian(record.address, address);
    put_big_endian(record.seconds, seconds);
    return record;
}

HardwareAddress hardware_of(unsigned char byte)
{
    HardwareAddress hardware = {};
    memset(hardware.bytes, byte, 6);
    return hardware;
}

// A table read from a file of these bytes; it held other records before.
LeaseTable table_of(const std::string &bytes)
{
    LeaseTable table;
    memset(&table, 'x', sizeof table);
    FILE *file = tmpfile();
    EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    rewind(file);
    read_leases(file, table);
    (void)fclose(file);
    return table;
}

size_t used_records(const LeaseTable &table)
{
    size_t used = 0;
    for (const LeaseRecord &record : table.records) {
        used += get_big_endian(record.address) == 0 ? 0 : 1;
    }
    return used;
}

constexpr uint32_t kRouter = 0xC0A80001;

TEST(LeaseRecord, NumbersAreBigEndian)
{
    LeaseRecord record = {};
    put_big_endian(record.address, 0xC0A80A14);
    put_big_endian(record.seconds, kReservationSeconds);
    EXPECT_EQ(record_bytes(record).substr(16, 8), std::string("\xC0\xA8\x0A\x14\x01\xE1\x33\x80"));
    EXPECT_EQ(get_big_endian(record.address), 0xC0A80A14U);
    EXPECT_EQ(get_big_endian(record.seconds), 31536000U);
}

TEST(LeaseRecord, NameEndsAtItsFirstNulByteOrTheRecords)
{
    LeaseRecord record = {};
    memcpy(record.name, "pc\0old", 6);
    EXPECT_EQ(lease_name(record), "pc");
    memset(record.name, 'n', sizeof record.name);
    EXPECT_EQ(lease_name(record), std::string(64, 'n'));
    memset(record.hardware_copy, 'h', sizeof record.hardware_copy);
    EXPECT_EQ(lease_name(record), std::string(64, 'n') + std::string(16, 'h'));
}

TEST(FillLease, EveryByte)
{
    LeaseRecord record = {};
    fill_lease(record, "desk", hardware_of(0xAB), 0xC0A80014);
    std::string expected(kLeaseRecordSize, '\0');
    expected.replace(0, 6, 6, '\xAB');
    expected.replace(16, 8, "\xC0\xA8\x00\x14\x01\xE1\x33\x80", 8);
    expected.replace(24, 4, "desk");
    expected.replace(88, 6, 6, '\xAB');
    EXPECT_EQ(record_bytes(record), expected);
}

TEST(FillLease, KeepsWhatAnUnusedRecordHoldsBehindTheName)
{
    LeaseRecord record;
    memset(&record, 'o', sizeof record);
    fill_lease(record, "ab", hardware_of(1), 7);
    EXPECT_EQ(record_bytes(record).substr(24, 64), std::string("ab\0", 3) + std::string(61, 'o'));
    EXPECT_EQ(record_bytes(record).substr(88), record_bytes(record).substr(0, 16));
}

TEST(FillLease, ALongestNameFillsItsField)
{
    LeaseRecord record = {};
    fill_lease(record, std::string(63, 'n').c_str(), hardware_of(2), 7);
    EXPECT_EQ(record_bytes(record).substr(24, 64), std::string(63, 'n') + '\0');
    EXPECT_EQ(record_bytes(record).substr(88), record_bytes(record).substr(0, 16));
}

TEST(FillLease, AnOverlongNameOverwritesTheSecondHardwareAddress)
{
    LeaseRecord record = {};
    fill_lease(record, std::string(66, 'n').c_str(), hardware_of(2), 7);
    EXPECT_EQ(record_bytes(record).substr(24),
              std::string(66, 'n') + '\0' + std::string(3, '\2') + std::string(10, '\0'));
}

TEST(FillLease, ANameNeverLeavesTheRecord)
{
    LeaseRecord records[2] = {};
    fill_lease(records[0], std::string(500, 'n').c_str(), hardware_of(2), 7);
    EXPECT_EQ(record_bytes(records[0]).substr(24), std::string(79, 'n') + '\0');
    EXPECT_EQ(record_bytes(records[1]), std::string(kLeaseRecordSize, '\0'));
}

TEST(ReadLeases, EmptyFile)
{
    const LeaseTable table = table_of("");
    EXPECT_EQ(used_records(table), 0U);
    EXPECT_EQ(record_bytes(table.records[0]), std::string(kLeaseRecordSize, '\0'));
}

TEST(ReadLeases, ARecordCutShortIsUnused)
{
    const std::string whole = record_bytes(record_of(1, 0x0A000001, 60));
    for (size_t length = 0; length < whole.size(); ++length) {
        const LeaseTable table = table_of(whole + whole.substr(0, length));
        EXPECT_EQ(record_bytes(table.records[0]), whole);
        EXPECT_EQ(record_bytes(table.records[1]), std::string(kLeaseRecordSize, '\0')) << length;
    }
}

TEST(ReadLeases, StopsAfter254Records)
{
    std::string bytes;
    for (uint32_t i = 0; i < 300; ++i) {
        bytes += record_bytes(record_of(static_cast<unsigned char>(i), 0x0A000001 + i, 60));
    }
    for (const size_t count : {1U, 253U, 254U, 255U, 256U, 300U}) {
        const LeaseTable table = table_of(bytes.substr(0, count * kLeaseRecordSize));
        const size_t used = count < kLeasesRead ? count : kLeasesRead;
        EXPECT_EQ(used_records(table), used);
        EXPECT_EQ(record_bytes(table.records[used - 1]), bytes.substr((used - 1) * kLeaseRecordSize, 104));
    }
}

TEST(ReserveLease, AFullTableIsWalkedTo255)
{
    LeaseTable table = {};
    for (LeaseRecord &record : table.records) {
        record = record_of(9, 0x0A000009, 60);
    }
    const LeaseWalk walk = reserve_lease(table, {hardware_of(9), 0x0A000008, kRouter});
    EXPECT_EQ(walk.walked, 255U);
    EXPECT_EQ(get_big_endian(table.records[254].address), 0x0A000008U);
    EXPECT_EQ(get_big_endian(table.records[255].address), 0x0A000009U);
}

TEST(ReserveLease, StopsAtTheFirstUnusedRecord)
{
    LeaseTable table = {};
    table.records[0] = record_of(1, 0x0A000001, 60);
    table.records[2] = record_of(2, 0x0A000002, 60);
    const LeaseWalk walk = reserve_lease(table, {hardware_of(2), 0x0A000002, kRouter});
    EXPECT_EQ(walk.walked, 1U);
    EXPECT_FALSE(walk.found);
    EXPECT_EQ(get_big_endian(table.records[2].seconds), 60U);
}

TEST(ReserveLease, TheSameClientAgainKeepsItsLease)
{
    LeaseTable table = {};
    table.records[0] = record_of(1, 0x0A000001, 60);
    EXPECT_TRUE(reserve_lease(table, {hardware_of(1), 0x0A000001, kRouter}).found);
    EXPECT_EQ(get_big_endian(table.records[0].seconds), kReservationSeconds);
}

TEST(ReserveLease, AllSixteenHardwareBytesCount)
{
    LeaseTable table = {};
    table.records[0] = record_of(1, 0x0A000001, 60);
    table.records[0].hardware[15] = 1;
    EXPECT_FALSE(reserve_lease(table, {hardware_of(1), 0x0A000002, kRouter}).found);
}

TEST(ReserveLease, EveryRecordOfTheClientGetsTheAddress)
{
    LeaseTable table = {};
    table.records[0] = record_of(1, 0x0A000001, 60);
    table.records[1] = record_of(2, 0x0A000003, 60);
    table.records[2] = record_of(1, 0x0A000002, 0);
    EXPECT_TRUE(reserve_lease(table, {hardware_of(1), 0x0A000003, kRouter}).found);
    EXPECT_EQ(get_big_endian(table.records[0].address), 0x0A000003U);
    EXPECT_EQ(get_big_endian(table.records[1].seconds), 0U);
    EXPECT_EQ(get_big_endian(table.records[2].address), 0x0A000003U);
    EXPECT_EQ(get_big_endian(table.records[2].seconds), kReservationSeconds);
}

TEST(ReserveLease, ALeaseOnTheRoutersAddressIsVoided)
{
    LeaseTable table = {};
    table.records[0] = record_of(1, kRouter, 60);
    table.records[1] = record_of(2, 0x0A000003, 60);
    EXPECT_FALSE(reserve_lease(table, {hardware_of(3), 0x0A000009, kRouter}).found);
    EXPECT_EQ(get_big_endian(table.records[0].seconds), 0U);
    EXPECT_EQ(get_big_endian(table.records[1].seconds), 60U);
}

}  // namespace
