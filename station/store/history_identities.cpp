#include "station/store/history_identities.h"

#include "host/error.h"
#include "station/store/device_registry.h"
#include "station/store/history_schema.h"

namespace orvix::station {

std::vector<DeviceIdentity> IdentitiesInHistory(const std::string& file) {
    enum Column { kId, kSerial, kModel, kPort, kAddress };
    std::vector<DeviceIdentity> identities;
    Attempt([&] {
        auto connection = OpenHistoryReadOnly(file);
        // What nobody has asked for its serial number has no identifier of its own yet.
        platform::SqliteStatement row(connection,
                                      "SELECT devices.id, serial, model, port, address FROM devices JOIN series "
                                      "ON series.id = (SELECT max(id) FROM series WHERE device = number) "
                                      "WHERE serial != '' ORDER BY series.id");
        while (row.Step()) {
            const auto serial = row.Text(kSerial);
            identities.push_back({.Port = row.Text(kPort),
                                  .Address = row.Number(kAddress),
                                  .Model = row.Number(kModel),
                                  .Name = {},
                                  .SerialNumber = serial == kTellsNone ? "" : serial,
                                  .Identifier = row.Text(kId),
                                  .Remark = {},
                                  .HasAnswered = false});
        }
    });
    return identities;
}

std::vector<DeviceIdentity> KnownIdentities(const std::string& dataFolder, const std::string& databaseFolder) {
    auto known = IdentitiesInHistory(dataFolder + kSimulatedHistoryFile);
    // What they know is the same, unless one of them was taken from elsewhere.
    for (const auto& others :
         {IdentitiesInHistory(dataFolder + kHistoryFile), DeviceRegistry(databaseFolder).Identities()})
        known.insert(known.end(), others.begin(), others.end());
    return known;
}

}  // namespace orvix::station
