#include "host/error.h"

#include <system_error>

namespace orvix {

Error SystemError(const std::string& description, int systemCode) {
    Error error(errors::General, description + ": " + std::generic_category().message(systemCode));
    error.SystemCode = systemCode;
    return error;
}

Error CurrentError() {
    if (!std::current_exception()) return {errors::None, ""};
    try {
        throw;
    } catch (const Error& error) {
        return error;
    } catch (const std::exception& exception) {
        return {errors::General, exception.what()};
    } catch (...) {
        return {errors::General, "unknown exception"};
    }
}

}  // namespace orvix
