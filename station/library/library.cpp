#include "station/library/library.h"

#include <dlfcn.h>

#include <filesystem>

namespace orvix::station {
namespace {

constexpr char kFileName[] = "libOrvixNimbo1Lib.so";

}  // namespace

std::string ProgramFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::string FindLibrary() {
    const std::filesystem::path folder = ProgramFolder();
    const auto installed = (folder / NB1_LIBRARY_FOLDER).lexically_normal();
    for (const auto& place : {folder, installed}) {
        if (std::filesystem::exists(place / kFileName)) return place / kFileName;
    }
    throw Error(errors::General, std::string(kFileName) + " is neither beside the program in " + folder.string() +
                                     " nor in " + installed.string());
}

Library::Library(const std::string& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) throw Error(errors::General, dlerror());
    m_Handle = reinterpret_cast<std::intptr_t>(handle);
    m_Create = reinterpret_cast<CreateObjectFunction*>(dlsym(handle, kCreateObjectSymbol));
    if (m_Create == nullptr) throw Error(errors::General, dlerror());
}

std::shared_ptr<Object> Library::CreateObject(const char* className, const Services& services) const {
    return std::shared_ptr<Object>(m_Create(className, &services));
}

}  // namespace orvix::station
