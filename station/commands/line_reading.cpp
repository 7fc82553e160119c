#include "station/commands/line_reading.h"

#include <variant>

#include "station/run/identity_book.h"
#include "station/store/history_identities.h"

namespace orvix::station {
namespace {

/// Asks a device that has just answered, unless that was what it said. Empty: it tells none.
std::string SerialNumberOf(Bus& bus, const Reading& reading) {
    if (!reading.Valid()) return {};
    const auto told = reading.Variable == NameOf(ORVIXCNB1_VAR_SERIAL_NUMBER)
                          ? reading
                          : bus.Read(reading.Address, ORVIXCNB1_VAR_SERIAL_NUMBER);
    const auto* text = std::get_if<std::string>(&told.Value);
    return text == nullptr ? std::string() : SerialText(*text);
}

/// A device that tells no serial number is what was last known at its place.
std::string IdentifierFor(IdentityBook& book, const Reading& reading, const std::string& serialNumber) {
    const auto known = book.Expect(reading.Id(), reading.Model);
    if (serialNumber.empty()) return known ? known->Identifier : std::string();
    return book
        .Take({.Port = reading.Port,
               .Address = reading.Address,
               .Model = reading.Model,
               .Name = {},
               .SerialNumber = serialNumber,
               .Identifier = {},
               .Remark = {}})
        .Identifier;
}

}  // namespace

int ReadOnLine(StationResources& station, MainLoop& loop, const BusSetup& setup, Listener& listener, bool identifies,
               const std::function<Reading(Bus& bus, int address)>& read,
               const std::function<void(const Reading&)>& show) {
    BusThread bus(station, loop.Apartment(), setup, listener);
    std::size_t good = 0;
    std::size_t left = setup.Devices.size();
    IdentityBook book;
    if (identifies) book.Know(KnownIdentities(station.Folders.Data, station.Folders.Database));
    const auto take = [&](Reading reading, const std::string& serialNumber) {
        if (identifies) reading.Identifier = IdentifierFor(book, reading, serialNumber);
        show(reading);
        if (reading.Valid()) ++good;
        if (--left == 0) loop.Stop();
    };
    for (const auto& device : setup.Devices) {
        bus.Post([&, address = device.Address](Bus& b) {
            const auto reading = read(b, address);
            const auto serialNumber = identifies ? SerialNumberOf(b, reading) : std::string();
            loop.Apartment().Post([&take, reading, serialNumber] { take(reading, serialNumber); });
        });
    }
    loop.Run();
    return good == setup.Devices.size() ? kDone : kFailed;
}

}  // namespace orvix::station
