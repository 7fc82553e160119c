#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/library_entry.h"

namespace orvix::station {

/// The loaded driver library. It stays loaded until the program ends: objects and services refer to its code.
class Library {
public:
    /// Raises Error when the file cannot be loaded or has no entry point.
    explicit Library(const std::string& file);

    /// A new object of a registered class, as the interface asked for. Raises Error when there is no such class, or it
    /// has no such interface.
    template <class Interface>
    std::shared_ptr<Interface> Create(const char* className, const Services& services) const {
        auto object = std::dynamic_pointer_cast<Interface>(CreateObject(className, services));
        if (!object) throw Error(errors::General, std::string("the library's ") + className + " does not fit");
        return object;
    }

    /// The system's handle of the loaded library, as a number.
    std::int64_t Handle() const { return m_Handle; }

private:
    std::shared_ptr<Object> CreateObject(const char* className, const Services& services) const;

    std::int64_t m_Handle = 0;
    CreateObjectFunction* m_Create = nullptr;
};

/// The library's file: beside the program, or where both were installed. Raises Error when it is in neither.
std::string FindLibrary();

/// Folder of the running program.
std::string ProgramFolder();

}  // namespace orvix::station
