// Any bytes as a lease file, a vpn.conf and a list of routes. The first byte says which.
#include <cstring>

#include "forms/leases.h"
#include "forms/vpn.h"
#include "rc/lan/internal.h"
#include "rc/lan/leases.h"
#include "tests/fuzz/fuzz.h"

namespace {

void check_leases(std::string_view bytes)
{
    const forms::LeaseFile file = forms::read_lease_file(bytes);
    MUST(file.leases.size() == bytes.size() / sizeof(LeaseRecord));
    MUST(file.rest == bytes.size() % sizeof(LeaseRecord));
    for (const forms::Lease &lease : file.leases) {
        MUST(*forms::state_name(lease.state) != '\0');
        MUST((lease.address == "0.0.0.0") == (lease.state == forms::LeaseState::kUnused));
    }
    if (bytes.size() < 10) {
        return;
    }
    // A reservation in the table as the server reads it: its client has the address, no other.
    FILE *stream = fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "r");
    MUST(stream != nullptr);
    LeaseTable table;
    read_leases(stream, table);
    (void)fclose(stream);
    Reservation wanted = {{}, 0, 0xC0A80101};
    memcpy(wanted.hardware.bytes, bytes.data(), 6);
    memcpy(&wanted.address, bytes.data() + 6, 4);
    const LeaseWalk walk = reserve_lease(table, wanted);
    MUST(walk.walked <= kLeasesWalked);
    bool found = false;
    for (size_t i = 0; i < walk.walked; ++i) {
        const LeaseRecord &record = table.records[i];
        found = found || memcmp(record.hardware, wanted.hardware.bytes, sizeof record.hardware) == 0;
    }
    MUST(!walk.found || found);
}

void check_vpn(std::string_view bytes)
{
    VpnTable table;
    std::string why;
    if (!forms::read_vpn_table(bytes, table, why)) {
        MUST(bytes.size() != sizeof table && !why.empty());
        return;
    }
    MUST(forms::vpn_tunnels(table).size() <= kVpnPolicies);
    for (int i = 0; i < kVpnPolicies; ++i) {
        for (const forms::VpnField &field : forms::vpn_fields(table, i)) {
            MUST(field.offset < sizeof(VpnPolicy));
        }
    }
}

void check_route(std::string_view bytes)
{
    Route route = {};
    read_route(std::string(bytes), route);
    // Three octets as any numbers, or the destination as typed.
    MUST(rt_network(route).size() <= 3 * sizeof "-2147483648" + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::string_view bytes = input_of(data + 1, size - 1);
    switch (data[0] % 3) {
        case 0:
            check_leases(bytes);
            break;
        case 1:
            check_vpn(bytes);
            break;
        default:
            check_route(bytes);
    }
    return 0;
}
