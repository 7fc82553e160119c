#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace orvix {

/// A 32-bit host error code; 0 is success.
using ErrorNumber = std::int32_t;

namespace errors {

inline constexpr ErrorNumber Code(std::uint32_t bits) {
    return static_cast<ErrorNumber>(bits);
}

inline constexpr ErrorNumber None = 0;
inline constexpr ErrorNumber Overflow = 6;                        ///< a number does not fit its type
inline constexpr ErrorNumber MissingItem = 9;                     ///< a collection has no such item
inline constexpr ErrorNumber TypeMismatch = 13;                   ///< a value does not convert to the type asked for
inline constexpr ErrorNumber InvalidContents = 321;               ///< bytes that are not a property bag or a record set
inline constexpr ErrorNumber Validation = Code(0x80041068);       ///< raised by the error-check routine
inline constexpr ErrorNumber General = Code(0x800405E9);          ///< general error
inline constexpr ErrorNumber OutOfRange = Code(0x800405EA);       ///< message: a setting is outside its range
inline constexpr ErrorNumber NotConnected = Code(0x800405EB);     ///< message: the device is not connected
inline constexpr ErrorNumber NoMissionData = Code(0x800405EC);    ///< message: status or log is not there
inline constexpr ErrorNumber InformationLost = Code(0x8004144F);  ///< in-house general error
inline constexpr ErrorNumber TimeOut = Code(0x80041589);
inline constexpr ErrorNumber NotExecuted = Code(0x8004158A);
inline constexpr ErrorNumber Refused = Code(0x8004158B);
inline constexpr ErrorNumber Checksum = Code(0x8004158C);
inline constexpr ErrorNumber BadFrame = Code(0x8004158D);
inline constexpr ErrorNumber Busy = Code(0x8004158E);

}  // namespace errors

/// Source of an error that this library raises plainly.
inline constexpr char kLibraryName[] = "OrvixNimbo1Lib";

/// The one exception type that is raised, inside the library and out of it.
class __attribute__((visibility("default"))) Error : public std::exception {
public:
    Error(ErrorNumber number, std::string description, std::string source = kLibraryName)
        : Number(number), Source(std::move(source)), Description(std::move(description)) {}

    const char* what() const noexcept override { return Description.c_str(); }

    ErrorNumber Number;
    std::string Source;
    std::string Description;
    std::string HelpFile;
    std::int32_t HelpContext = 0;
    /// The operating system's error code (errno) when a system call caused the error, else 0.
    int SystemCode = 0;
};

/// An error caused by a system call: the general error with `description`, ": " and the system's text for `systemCode`.
Error SystemError(const std::string& description, int systemCode);

/// What a handler knows of the exception in flight: an Error as it is, any other exception as the general error with
/// its text. Without an exception in flight the number is 0.
Error CurrentError();

/// Runs one step in continue-on-error mode: a step that fails is skipped.
/// Returns whether the step ran to its end.
template <class Step>
bool Attempt(Step&& step) {
    try {
        step();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace orvix
