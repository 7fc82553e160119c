#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "host/error.h"
#include "host/services.h"
#include "host/variant.h"

namespace orvix {

/// The error module of an apartment: validation errors with texts of the host's catalogue, and the last step of every
/// trap. All instances of an apartment share its state.
///
///     try { ... } catch (...) { PlexaERR.ErrorIn("cOrvixDevicesNB1.iOrvixDevices_Add"); }
class cPlexaERR {
public:
    /// A class of the library creates its own, which switches step mode off.
    explicit cPlexaERR(const Services& services);

    /// Does nothing when the condition holds. Otherwise forms the text of a message ("#" and a message number, or the
    /// text itself; "||" breaks the line, "%1", "%2" ... are the parameters and "%%" is a "%" if there are any) and
    /// raises it as error `number` from "PlexaERR.Check"; with number 0 it is only collected. A key without a text in
    /// the catalogue gives the key followed by its parameters.
    void Check(bool condition, ErrorNumber number, std::string_view message, const VariantList& params = {},
               const std::string& helpFile = {}, std::int32_t helpContext = 0);

    /// The same for a numbered message. Nothing is built of the number and the parameters while the condition holds.
    template <class... Params>
    void Check(bool condition, ErrorNumber number, ErrorNumber message, const Params&... params) {
        if (!condition) Check(false, number, MessageKey(message), VariantList{Variant(params)...});
    }

    /// Text of a numbered message, formed as by Check. Never raises.
    std::string GetMessageText(ErrorNumber number, const VariantList& params = {});

    /// Messages collected by Check with number 0, separated by line breaks.
    const std::string& CollectedMessages() const;

    void SetMessageProvider(std::shared_ptr<MessageProvider> provider);
    void SetStepMode(bool rhs);
    /// Whether a failing statement is to be tried again: never, there is nobody to ask outside a development
    /// environment.
    bool RetryInStepMode() const;

    /// Keep the error in flight, put the kept one back (raising it), and tell the kept one's number (0: none).
    void ErrPreserve();
    [[noreturn]] void ErrRestore();
    ErrorNumber ErrPreservedNumber() const;

    /// Releases up to eight objects without losing the error in flight: preserves it, resets each reference, a failure
    /// of one skipped.
    template <class... References>
    void ErrCleanup(References&... references) {
        static_assert(sizeof...(References) <= 8, "at most eight objects are cleaned up at once");
        ErrPreserve();
        (Attempt([&] { references.reset(); }), ...);
    }

    /// Last step of a trap: turns the error in flight into a report that names the operation, unless an inner trap has
    /// done so, and raises it with its number and the source "PlexaERR.ErrorIn".
    [[noreturn]] void ErrorIn(const std::string& label);

    /// The same for a trap that does not raise: the report goes to the event tracer and to the host's report sink.
    void ReportIn(const std::string& label);

private:
    static std::string MessageKey(ErrorNumber number);
    std::string MessageText(std::string_view message, const VariantList& params) const;
    Error TakePreserved();
    Error Reported(const std::string& label);

    const Services& m_Services;
};

}  // namespace orvix
