#include "panels/model/PgnNames.h"

#include "net/can/ProprietaryPgns.h"

#include <ferrow/N2KDecode.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

// Weak, so that a program linking the models without the decoder (their
// own tests among them) links and shows the table's names.
FERROW_API int FerrowDescribePgn(unsigned long pgn, char* json, int size) __attribute__((weak));

namespace ferrow::panels {
namespace {

struct Entry {
    uint32_t pgn;
    const char* name;
};

// Ascending by number, for a binary search.
constexpr Entry kNames[] = {
    {59392, "ISO Acknowledgement"},
    {59904, "ISO Request"},
    {60160, "ISO Transport, Data Transfer"},
    {60416, "ISO Transport, Connection Management"},
    {60928, "ISO Address Claim"},
    {65240, "ISO Commanded Address"},
    {126208, "Group Function"},
    {126464, "PGN List"},
    {126983, "Alert"},
    {126984, "Alert Response"},
    {126985, "Alert Text"},
    {126986, "Alert Configuration"},
    {126987, "Alert Threshold"},
    {126988, "Alert Value"},
    {126992, "System Time"},
    {126993, "Heartbeat"},
    {126996, "Product Information"},
    {126998, "Configuration Information"},
    {127233, "Man Overboard Notification"},
    {127237, "Heading/Track Control"},
    {127245, "Rudder"},
    {127250, "Vessel Heading"},
    {127251, "Rate of Turn"},
    {127252, "Heave"},
    {127257, "Attitude"},
    {127258, "Magnetic Variation"},
    {127488, "Engine Parameters, Rapid Update"},
    {127489, "Engine Parameters, Dynamic"},
    {127490, "Electric Drive Status, Dynamic"},
    {127491, "Energy Storage Status, Dynamic"},
    {127493, "Transmission Parameters, Dynamic"},
    {127494, "Electric Drive Information"},
    {127495, "Energy Storage Information"},
    {127496, "Trip Parameters, Vessel"},
    {127497, "Trip Parameters, Engine"},
    {127498, "Engine Parameters, Static"},
    {127500, "Load Controller State"},
    {127501, "Binary Switch Bank Status"},
    {127502, "Switch Bank Control"},
    {127503, "AC Input Status"},
    {127504, "AC Output Status"},
    {127505, "Fluid Level"},
    {127506, "DC Detailed Status"},
    {127507, "Charger Status"},
    {127508, "Battery Status"},
    {127509, "Inverter Status"},
    {127510, "Charger Configuration Status"},
    {127511, "Inverter Configuration Status"},
    {127512, "AGS Configuration Status"},
    {127513, "Battery Configuration Status"},
    {127514, "AGS Status"},
    {127744, "AC Power/Current, Phase A"},
    {127745, "AC Power/Current, Phase B"},
    {127746, "AC Power/Current, Phase C"},
    {127747, "AC Voltage/Frequency, Phase A"},
    {127748, "AC Voltage/Frequency, Phase B"},
    {127749, "AC Voltage/Frequency, Phase C"},
    {127750, "Converter Status"},
    {127751, "DC Voltage/Current"},
    {128000, "Leeway Angle"},
    {128001, "Vessel Acceleration"},
    {128002, "Electric Drive Status, Rapid Update"},
    {128003, "Energy Storage Status, Rapid Update"},
    {128006, "Thruster Control Status"},
    {128007, "Thruster Information"},
    {128008, "Thruster Motor Status"},
    {128259, "Speed, Water Referenced"},
    {128267, "Water Depth"},
    {128275, "Distance Log"},
    {128520, "Tracked Target Data"},
    {128776, "Windlass Control Status"},
    {128777, "Windlass Operating Status"},
    {128778, "Windlass Monitoring Status"},
    {128780, "Linear Actuator Control/Status"},
    {129025, "Position, Rapid Update"},
    {129026, "COG & SOG, Rapid Update"},
    {129027, "Position Delta, Rapid Update"},
    {129028, "Altitude Delta, Rapid Update"},
    {129029, "GNSS Position Data"},
    {129033, "Time & Date"},
    {129038, "AIS Class A Position Report"},
    {129039, "AIS Class B Position Report"},
    {129040, "AIS Class B Extended Position Report"},
    {129041, "AIS Aids to Navigation Report"},
    {129044, "Datum"},
    {129045, "User Datum"},
    {129283, "Cross Track Error"},
    {129284, "Navigation Data"},
    {129285, "Route/Waypoint Information"},
    {129291, "Set & Drift, Rapid Update"},
    {129301, "Time to/from Mark"},
    {129302, "Bearing and Distance between Marks"},
    {129538, "GNSS Control Status"},
    {129539, "GNSS DOPs"},
    {129540, "GNSS Satellites in View"},
    {129541, "GPS Almanac Data"},
    {129542, "GNSS Pseudorange Noise Statistics"},
    {129545, "GNSS RAIM Output"},
    {129546, "GNSS RAIM Settings"},
    {129547, "GNSS Pseudorange Error Statistics"},
    {129549, "DGNSS Corrections"},
    {129550, "GNSS Differential Receiver Interface"},
    {129551, "GNSS Differential Receiver Signal"},
    {129556, "GLONASS Almanac Data"},
    {129792, "AIS DGNSS Broadcast Binary Message"},
    {129793, "AIS UTC and Date Report"},
    {129794, "AIS Class A Static and Voyage Data"},
    {129795, "AIS Addressed Binary Message"},
    {129796, "AIS Acknowledge"},
    {129797, "AIS Binary Broadcast Message"},
    {129798, "AIS SAR Aircraft Position Report"},
    {129799, "Radio Frequency/Mode/Power"},
    {129800, "AIS UTC/Date Inquiry"},
    {129801, "AIS Addressed Safety Message"},
    {129802, "AIS Safety Broadcast Message"},
    {129803, "AIS Interrogation"},
    {129804, "AIS Assignment Mode Command"},
    {129805, "AIS Data Link Management"},
    {129806, "AIS Channel Management"},
    {129807, "AIS Class B Group Assignment"},
    {129808, "DSC Call Information"},
    {129809, "AIS Class B Static Data, Part A"},
    {129810, "AIS Class B Static Data, Part B"},
    {130060, "Label"},
    {130061, "Channel Source Configuration"},
    {130064, "Route/WP Service, Database List"},
    {130065, "Route/WP Service, Route List"},
    {130066, "Route/WP Service, List Attributes"},
    {130067, "Route/WP Service, WP Name & Position"},
    {130068, "Route/WP Service, WP Name"},
    {130069, "Route/WP Service, XTE Limit"},
    {130070, "Route/WP Service, WP Comment"},
    {130071, "Route/WP Service, Route Comment"},
    {130072, "Route/WP Service, Database Comment"},
    {130073, "Route/WP Service, Radius of Turn"},
    {130074, "Route/WP Service, WP List"},
    {130306, "Wind Data"},
    {130310, "Environmental Parameters (obsolete)"},
    {130311, "Environmental Parameters"},
    {130312, "Temperature"},
    {130313, "Humidity"},
    {130314, "Actual Pressure"},
    {130315, "Set Pressure"},
    {130316, "Temperature, Extended Range"},
    {130320, "Tide Station Data"},
    {130321, "Salinity Station Data"},
    {130322, "Current Station Data"},
    {130323, "Meteorological Station Data"},
    {130324, "Moored Buoy Station Data"},
    {130330, "Lighting System Settings"},
    {130560, "Payload Mass"},
    {130561, "Lighting Zone"},
    {130562, "Lighting Scene"},
    {130563, "Lighting Device"},
    {130564, "Lighting Device Enumeration"},
    {130565, "Lighting Color Sequence"},
    {130566, "Lighting Program"},
    {130567, "Watermaker Input Setting and Status"},
    {130569, "Entertainment, Current Status"},
    {130570, "Entertainment, Library Data File"},
    {130571, "Entertainment, Library Data Group"},
    {130572, "Entertainment, Library Data Search"},
    {130573, "Entertainment, Supported Sources"},
    {130574, "Entertainment, Supported Zones"},
    {130576, "Small Craft Status"},
    {130577, "Direction Data"},
    {130578, "Vessel Speed Components"},
    {130579, "Entertainment, System Configuration"},
    {130582, "Entertainment, Zone Volume"},
    {130583, "Entertainment, Audio EQ Presets"},
    {130584, "Entertainment, Bluetooth Addresses"},
    {130585, "Entertainment, Bluetooth Source"},
    {130586, "Entertainment, Zone Configuration"},
};

std::string_view TableName(uint32_t pgn) {
    const auto* end = std::end(kNames);
    const auto* it = std::lower_bound(std::begin(kNames), end, pgn,
                                      [](const Entry& e, uint32_t key) { return e.pgn < key; });
    return it != end && it->pgn == pgn ? it->name : "";
}

// The database's descriptions, read once a database is there; never changed
// after, so the views handed out stay valid.
class DatabaseNames {
public:
    const std::string* Find(uint32_t pgn) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!read_) read_ = Read();
        auto it = names_.find(pgn);
        return it == names_.end() ? nullptr : &it->second;
    }

private:
    bool Read() {
        std::vector<char> text(1 << 20);
        if (!&FerrowDescribePgn || FerrowDescribePgn(0, text.data(), static_cast<int>(text.size())) < 0) return false;
        const nlohmann::json list = nlohmann::json::parse(text.data(), nullptr, false);
        if (!list.is_array()) return false;
        for (const nlohmann::json& entry : list) {
            const auto pgn = entry.value("pgn", 0u);
            const bool several = entry.value("definitions", 1) > 1;
            std::string name = entry.value("description", "");
            if (several && !TableName(pgn).empty()) name = TableName(pgn);
            if (!name.empty()) names_.emplace(pgn, std::move(name));
        }
        return true;
    }

    std::mutex mutex_;
    bool read_ = false;
    std::unordered_map<uint32_t, std::string> names_;
};

}  // namespace

std::string_view PgnNames::Lookup(uint32_t pgn) {
    if (net::ProprietaryPgns::Contains(pgn)) return "Proprietary";
    static DatabaseNames database;
    if (const std::string* name = database.Find(pgn)) return *name;
    return TableName(pgn);
}

}  // namespace ferrow::panels
