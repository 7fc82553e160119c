#include <functional>
#include <map>
#include <memory>
#include <string_view>

#include "adapter/cOrvixAdapterNB1.h"
#include "devices/cOrvixDevicesNB1.h"
#include "devices/cOrvixNB1DM.h"
#include "devices/cOrvixNB1TP.h"
#include "driver/cOrvixDriverNB1.h"
#include "host/library_entry.h"
#include "missions/cOrvixNB1DMMission.h"
#include "missions/cOrvixNB1TPMission.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {
namespace {

using Factory = std::unique_ptr<Object> (*)(const Services&);

template <class T>
std::unique_ptr<Object> Make(const Services& services) {
    return std::make_unique<T>(services);
}

struct RegisteredClass {
    std::string_view Name;
    Factory Create;
};

constexpr RegisteredClass kRegisteredClasses[] = {
    {"cOrvixAdapterNB1", Make<cOrvixAdapterNB1>}, {"cOrvixDevicesNB1", Make<cOrvixDevicesNB1>},
    {"cOrvixDriverNB1", Make<cOrvixDriverNB1>},   {"cOrvixTaskNB1", Make<cOrvixTaskNB1>},
    {"cOrvixNB1TP", Make<cOrvixNB1TP>},           {"cOrvixNB1TPMission", Make<cOrvixNB1TPMission>},
    {"cOrvixNB1DM", Make<cOrvixNB1DM>},           {"cOrvixNB1DMMission", Make<cOrvixNB1DMMission>},
};

}  // namespace
}  // namespace orvix

extern "C" __attribute__((visibility("default"))) orvix::Object* OrvixNimbo1Lib_CreateObject(
    const char* className, const orvix::Services* services) {
    for (const auto& registered : orvix::kRegisteredClasses) {
        if (registered.Name == className) return registered.Create(*services).release();
    }
    return nullptr;
}
