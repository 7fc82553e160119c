#include "diagnostics/basPlexaErr.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "diagnostics/basEventTracer.h"
#include "diagnostics/printable.h"
#include "host/text.h"

namespace orvix {
namespace {

constexpr char kCheckSource[] = "PlexaERR.Check";
constexpr char kReportSource[] = "PlexaERR.ErrorIn";
constexpr char kNoStop[] = "NoStop";

/// The library never runs in a development environment, the only place where step mode could ask.
constexpr bool kDevelopmentEnvironment = false;

constexpr std::int64_t kObjectErrorBase = errors::Code(0x80040000);

/// Left behind by every look-up of an unset environment variable; it explains no error.
constexpr int kSystemCodeWithoutMeaning = 203;

constexpr std::string_view kReportTemplate =
    "%Descr% %nl% %nl%"
    "  (%MethodName%) %nl%"
    "  Number: %ErrNum% = &H%ErrHex% = vbObjectError %ErrNumRel1% = PLEXA_ERRMAP_APP_FIRST %ErrNumRel2% %ErrStd%%nl%"
    "  Source: %Source% %nl%";

struct ErrorModuleState : ApartmentState::Item {
    std::shared_ptr<MessageProvider> Provider;
    std::string Collected;
    std::optional<Error> Preserved;
    bool StepMode = false;
};

ErrorModuleState& ErrorStateOf(const Services& services) {
    return services.State.Of<ErrorModuleState>();
}

/// Length of the placeholder's digits and the parameter that they name, the longest number that has a parameter.
struct Placeholder {
    std::size_t Length = 0;
    std::size_t Position = 0;
};

Placeholder ReadPlaceholder(std::string_view digits, std::size_t parameterCount) {
    Placeholder result;
    while (result.Length < digits.size()) {
        const char digit = digits[result.Length];
        if (digit < '0' || digit > '9') break;
        const std::size_t position = result.Position * 10 + static_cast<std::size_t>(digit - '0');
        if (position == 0 || position > parameterCount) break;
        result = {result.Length + 1, position};
    }
    return result;
}

/// One pass, so that a parameter that looks like a placeholder is left alone. Without parameters the text stays as it
/// is, since it may have been through here before.
std::string FillParameters(const std::string& filled, const VariantList& params) {
    if (params.empty()) return filled;
    const std::string_view text = filled;
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        const auto rest = text.substr(i + 1);
        const Placeholder placeholder = ReadPlaceholder(rest, params.size());
        if (placeholder.Position != 0) {
            result += PrintableText(params[placeholder.Position - 1]);
            i += placeholder.Length;
        } else {
            result += '%';
            if (rest.starts_with('%')) ++i;
        }
    }
    return result;
}

using NamedTexts = std::array<std::pair<std::string_view, std::string>, 9>;

/// Fills "%Name%" placeholders in one pass, so that a "%" in a value is left alone.
std::string FillTemplate(std::string_view text, const NamedTexts& values) {
    std::string result;
    while (!text.empty()) {
        const auto begin = text.find('%');
        const auto end = text.find('%', begin + 1);
        if (begin == std::string_view::npos || end == std::string_view::npos) break;
        const auto name = text.substr(begin + 1, end - begin - 1);
        result += text.substr(0, begin);
        for (const auto& [key, value] : values) {
            if (key == name) result += value;
        }
        text.remove_prefix(end + 1);
    }
    return result += text;
}

std::string FormatReport(const std::string& label, const Error& error) {
    const std::int64_t number = error.Number;
    std::string report = FillTemplate(
        kReportTemplate, {{{"nl", kLineBreak},
                           {"MethodName", label},
                           {"ErrNum", NumberText(error.Number)},
                           {"ErrHex", HexText(error.Number)},
                           {"ErrNumRel1", std::to_string(number - kObjectErrorBase)},
                           {"ErrNumRel2", std::to_string(number - errors::InformationLost)},
                           {"ErrStd", error.Number == errors::InformationLost ? "= PLEXA_ERR_GENERAL" : ""},
                           {"Source", error.Source},
                           {"Descr", error.Description}}});
    if (error.SystemCode != 0 && error.SystemCode != kSystemCodeWithoutMeaning) {
        report += "  API Error: (" + NumberText(std::int32_t{error.SystemCode}) + ") " +
                  std::system_category().message(error.SystemCode);
    }
    return report;
}

Error InformationLost() {
    return {errors::InformationLost,
            "ErrorIn: Error information was lost. To fix: call ErrPreserve before doing anything in error handler."};
}

}  // namespace

cPlexaERR::cPlexaERR(const Services& services) : m_Services(services) {
    SetStepMode(false);
}

void cPlexaERR::Check(bool condition, ErrorNumber number, std::string_view message, const VariantList& params,
                      const std::string& helpFile, std::int32_t helpContext) {
    if (condition) return;
    const std::string text = MessageText(message, params);
    if (number == errors::None) {
        std::string& collected = ErrorStateOf(m_Services).Collected;
        if (!collected.empty()) collected += kLineBreak;
        collected += text;
        return;
    }
    Error error(number, text, kCheckSource);
    error.HelpFile = helpFile;
    error.HelpContext = helpContext;
    throw error;
}

std::string cPlexaERR::GetMessageText(ErrorNumber number, const VariantList& params) {
    return MessageText(MessageKey(number), params);
}

std::string cPlexaERR::MessageKey(ErrorNumber number) {
    return "#" + NumberText(number);
}

std::string cPlexaERR::MessageText(std::string_view message, const VariantList& params) const {
    std::optional<std::string> text;
    if (!message.starts_with('#')) {
        text = message;
    } else if (const auto provider = ErrorStateOf(m_Services).Provider) {
        Attempt([&] { text = provider->GetMessage(std::string(message)); });
    }
    if (text) return FillParameters(ReplaceAll(*text, "||", kLineBreak), params);

    std::string keyAndParams(message);
    for (const Variant& param : params)
        keyAndParams += " " + PrintableText(param);
    return keyAndParams;
}

const std::string& cPlexaERR::CollectedMessages() const {
    return ErrorStateOf(m_Services).Collected;
}

void cPlexaERR::SetMessageProvider(std::shared_ptr<MessageProvider> provider) {
    ErrorStateOf(m_Services).Provider = std::move(provider);
}

void cPlexaERR::SetStepMode(bool rhs) {
    ErrorStateOf(m_Services).StepMode = rhs;
}

bool cPlexaERR::RetryInStepMode() const {
    return kDevelopmentEnvironment && ErrorStateOf(m_Services).StepMode && CurrentError().HelpFile != kNoStop;
}

void cPlexaERR::ErrPreserve() {
    Error error = CurrentError();
    if (error.Number != errors::None) ErrorStateOf(m_Services).Preserved = std::move(error);
}

void cPlexaERR::ErrRestore() {
    throw TakePreserved();
}

ErrorNumber cPlexaERR::ErrPreservedNumber() const {
    const auto& preserved = ErrorStateOf(m_Services).Preserved;
    return preserved ? preserved->Number : errors::None;
}

Error cPlexaERR::TakePreserved() {
    return std::exchange(ErrorStateOf(m_Services).Preserved, std::nullopt).value_or(InformationLost());
}

Error cPlexaERR::Reported(const std::string& label) {
    ErrPreserve();
    Error error = TakePreserved();
    if (error.Source != kReportSource) {
        Attempt([&] { error.Description = FormatReport(label, error); });
        error.Source = kReportSource;
    }
    return error;
}

void cPlexaERR::ErrorIn(const std::string& label) {
    throw Reported(label);
}

void cPlexaERR::ReportIn(const std::string& label) {
    const std::string report = Reported(label).Description;
    cEventTracer(m_Services).PLXTrcV(label, report);
    Attempt([&] { m_Services.Reports.Report(report); });
}

}  // namespace orvix
