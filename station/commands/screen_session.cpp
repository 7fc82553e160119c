#include "station/commands/screen_session.h"

namespace orvix::station {

ScreenSession::ScreenSession(MainLoop& loop, LiveOutput& output)
    : m_Loop(loop), m_Screen(OpenLiveScreen(output.Out(), output.Lines(), loop.Apartment(), [&loop] { loop.Stop(); })) {
    if (!m_Screen) return;
    loop.OnWindowChange([this] { m_Screen->Resize(); });
    loop.OnForcedEnd([this] { m_Screen->RestoreTerminal(); });
}

void ScreenSession::End() {
    if (!m_Screen) return;
    m_Screen->End();
    m_Loop.OnWindowChange([] {});
    m_Loop.OnForcedEnd(nullptr);
}

}  // namespace orvix::station
