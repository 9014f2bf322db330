// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What names a service beyond its stream (EN 300 468, 5.2.3): original_network_id in bits 32 to
/// 47, transport_stream_id in bits 16 to 31, service_id in bits 0 to 15. Where one is given to the
/// library, a part of 0 stands for any.
inline unsigned long long MakeServiceKey(std::uint16_t originalNetworkId,
                                         std::uint16_t transportStreamId, std::uint16_t serviceId) {
    return static_cast<unsigned long long>(originalNetworkId) << 32 |
           static_cast<unsigned long long>(transportStreamId) << 16 | serviceId;
}

/// Whether a program's key is the wanted one. A part of either that is 0 stands for any: in the
/// wanted one by its sense, in the program's because no table has told it yet.
inline bool MatchesServiceKey(unsigned long long wanted, unsigned long long key) {
    for (int shift = 0; shift <= 32; shift += 16) {
        const unsigned long long part = wanted >> shift & 0xFFFF;
        const unsigned long long known = key >> shift & 0xFFFF;
        if (part != 0 && known != 0 && part != known) {
            return false;
        }
    }
    return true;
}

/// EN 300 468, table 6: running_status, of a service or an event.
enum ERunningStatus : int {
    RUNNING_UNDEFINED = 0,
    RUNNING_NOT = 1,
    RUNNING_STARTS_SOON = 2, ///< in a few seconds
    RUNNING_PAUSING = 3,
    RUNNING_NOW = 4,
    RUNNING_OFF_AIR = 5, ///< of a service
};

/// One elementary stream of a program (ISO/IEC 13818-1, 2.4.4.8).
struct TSProgramComponent {
    std::uint16_t pid = 0;
    std::uint8_t stream_type = 0; ///< ISO/IEC 13818-1, table 2-34
    std::string language;         ///< ISO 639-2, three letters; empty where the stream doesn't say

    bool operator==(const TSProgramComponent&) const = default;
};

/// One event of the guide (EN 300 468, 5.2.4). Texts are UTF-8, whatever their character table in
/// the stream (EN 300 468, annex A).
struct TSProgramEvent {
    bool known = false; ///< false: the guide has none, and the rest is without meaning
    std::uint16_t event_id = 0;
    std::int64_t start = 0;     ///< UTC, seconds since 1970; -1 where undefined
    std::uint32_t duration = 0; ///< seconds
    ERunningStatus running_status = RUNNING_UNDEFINED;
    bool free_to_air = true; ///< free_CA_mode says that nothing is scrambled
    std::string name;        ///< event_name of the first short_event_descriptor
    std::string text;        ///< its text
    std::string language;    ///< its language, ISO 639-2

    /// At some time from `first` on and before `second`, in seconds since 1970. An event without a
    /// duration counts in its first second.
    bool IsOnAir(std::int64_t first, std::int64_t second) const {
        const std::int64_t end = start + (duration != 0 ? duration : 1);
        return known && start >= 0 && start < second && end > first;
    }
    bool operator==(const TSProgramEvent&) const = default;
};

/// A program of the stream as its tables describe it: PAT and PMT (ISO/IEC 13818-1, 2.4.4), SDT
/// and EIT (EN 300 468, 5.2). A field that no table has told yet has the value given here.
class TCProgramData {
public:
    TCProgramData();
    TCProgramData(const TCProgramData&);
    TCProgramData& operator=(const TCProgramData&);
    virtual ~TCProgramData();

    unsigned long long ServiceKey() const {
        return MakeServiceKey(original_network_id, transport_stream_id, service_id);
    }
    bool operator==(const TCProgramData&) const; ///< every field

    std::uint16_t original_network_id = 0;      ///< from the SDT
    std::uint16_t transport_stream_id = 0;      ///< from the PAT
    std::uint16_t service_id = 0;               ///< program_number of the PAT
    std::uint16_t pmt_pid = 0;                  ///< PID of the program map table
    std::uint16_t pcr_pid = 0x1FFF;             ///< PID of the clock reference; 0x1FFF: none
    std::vector<TSProgramComponent> components; ///< in the order of the PMT

    std::string service_name;      ///< UTF-8
    std::string provider_name;     ///< UTF-8
    std::uint8_t service_type = 0; ///< EN 300 468, table 87: 1 is digital television
    ERunningStatus running_status = RUNNING_UNDEFINED; ///< of the service
    bool free_to_air = true;                           ///< of the service, from the SDT

    /// The event that the notice is about: the present or the following one, or one of a list.
    TSProgramEvent event;
};
