#pragma once

#include <memory>
#include <string>

#include "host/library_entry.h"

namespace orvix::station {

/// The loaded driver library. It stays loaded until the program ends: objects and services refer to its code.
class Library {
public:
    /// Raises Error when the library is not beside the program, nor in ../lib, or has no entry point.
    Library();

    /// A new object of a registered class, as the interface asked for. Raises Error when there is no such class, or it
    /// has no such interface.
    template <class Interface>
    std::shared_ptr<Interface> Create(const char* className, const Services& services) const {
        auto object = std::dynamic_pointer_cast<Interface>(CreateObject(className, services));
        if (!object) throw Error(errors::General, std::string("the library's ") + className + " does not fit");
        return object;
    }

private:
    std::shared_ptr<Object> CreateObject(const char* className, const Services& services) const;

    CreateObjectFunction* m_Create = nullptr;
};

/// Folder of the running program.
std::string ProgramFolder();

}  // namespace orvix::station
