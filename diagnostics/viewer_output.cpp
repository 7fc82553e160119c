#include "diagnostics/viewer_output.h"

#include <chrono>

#include "diagnostics/printable.h"
#include "host/error.h"
#include "host/text.h"

namespace orvix {
namespace {

constexpr std::chrono::milliseconds kViewerTimeout{5000};

constexpr char kSeparator[] = ": ";

/// The values joined with tabs; an array stands for its elements.
std::string Joined(const VariantList& values) {
    std::string joined;
    const auto add = [&](const std::string& text) { joined += "\t" + text; };
    for (const Variant& value : values) {
        if (const auto* elements = value.As<ByteArray>()) {
            for (const std::uint8_t element : *elements)
                add(NumberText(std::int32_t{element}));
        } else {
            add(PrintableText(value));
        }
    }
    return joined.empty() ? joined : joined.substr(1);
}

}  // namespace

void ViewerOutput::Attach(const Services& services) {
    m_Apartment = &services.Apartment;
    m_Viewer = &services.TraceViewer;
}

void ViewerOutput::Send(const VariantList& values) {
    Attempt([&] {
        if (m_Viewer->Found()) m_Viewer->Send(Line(values), kViewerTimeout);
    });
}

std::string ViewerOutput::Line(const VariantList& values) const {
    return m_Viewer->ProgramName() + kSeparator + std::to_string(m_Viewer->ModuleHandle()) + kSeparator +
           NumberText(m_Apartment->ThreadID()) + kSeparator + Format(m_Apartment->DateNow(), "yyyymmdd hhnnss") +
           kSeparator + ReplaceAll(Joined(values), ":", " - ");
}

}  // namespace orvix
