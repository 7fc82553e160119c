#pragma once

#include <string>

#include "host/services.h"
#include "host/variant.h"

namespace orvix {

/// The lines of a trace that go to the trace viewer. Steps that fail are skipped.
class ViewerOutput {
public:
    /// Takes the services that lines are made and sent with; needed before the first line. No viewer is looked for yet.
    void Attach(const Services& services);
    /// Sends the values as one line, if there is a viewer. Blocks at most 5000 ms.
    void Send(const VariantList& values);

private:
    std::string Line(const VariantList& values) const;

    Apartment* m_Apartment = nullptr;
    TraceViewer* m_Viewer = nullptr;
};

}  // namespace orvix
