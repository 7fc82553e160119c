// Saved device files: restored, exported in each form, and restored again.
//
// Input: 'F' and the bytes of a file, or 'P' and pieces that a well-formed file is made of: the bag of the device's own
// fields, then the record of each variable.

#include "devices/cOrvixDevicesNB1.h"
#include "devices/protocol/basOrvixNB1.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "host/property_bag.h"
#include "host/text.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/test_host.h"

namespace orvix::fuzz {
namespace {

constexpr char kFile[] = "/data/Oven.device";
constexpr char kExport[] = "/data/Export";

std::string FileOfPieces(Input& input) {
    PropertyBag bag;
    bag.WriteProperty("Address", "12");
    bag.WriteProperty("DeviceModel", kTemperatureSensorModel);
    bag.WriteProperty("State", TextToBytes(input.Piece()));
    std::int32_t records = 0;
    while (!input.Empty())
        bag.WriteProperty("Var" + NumberText(++records), TextToBytes(input.Piece()));
    bag.WriteProperty("VarsCount", records);
    return BytesToText(bag.Contents());
}

std::shared_ptr<iOrvixDevice> Restore(tests::TestHost& host, iOrvixDevices& devices, const char* file) {
    const std::size_t reports = host.Reports.All.size();
    auto device = devices.AddFromFile(file);
    Require((device == nullptr) == (host.Reports.All.size() > reports), "what is not restored is reported, only that");
    Require(devices.Count() == (device ? 1 : 0), "a device is restored whole or not at all");
    return device;
}

void Check(const std::string& file) {
    tests::World world;
    tests::TestHost host(world);
    tests::FakeAdapter adapter;
    cOrvixDevicesNB1 first(host.Services);
    iOrvixDevices& devices = first;
    devices.Adapter(&adapter);
    host.Stores.FileContents[kFile] = file;
    const auto device = Restore(host, devices, kFile);
    if (!device) return;
    for (const auto format : {kFileFormatText, kFileFormatReport, kFileFormatDevice}) {
        host.Stores.FileContents.erase(kExport);
        device->SaveAs(kExport, format);
    }
    if (!host.Stores.FileContents.contains(kExport)) return;
    cOrvixDevicesNB1 second(host.Services);
    Require(Restore(host, second, kExport) != nullptr, "an exported device is restored");
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix::fuzz;
    Input input(data, size);
    const auto form = input.Byte();
    if (form == 'F') Check(input.Rest());
    if (form == 'P') Check(FileOfPieces(input));
    return 0;
}
