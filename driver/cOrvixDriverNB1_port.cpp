#include "driver/cOrvixDriverNB1.h"

#include "host/variant.h"

namespace orvix {

void cOrvixDriverNB1::Connect() {
    m_Tracer.TraceEvent("OrvixNimbo1Lib.cOrvixDriverNB1.Connect Port " + m_PortAddress);
    try {
        if (!m_Simulation) OpenPort();
        m_Connected = true;
        m_IPC->SendCustomMessage("CONNECTED");
    } catch (...) {
        const Error error = ErrorAt("iOrvixDriver_Connect Port " + m_PortAddress);
        Disconnect();
        throw error;
    }
}

void cOrvixDriverNB1::OpenPort() {
    SerialControl& line = MSComm1();
    if (line.PortOpen()) line.PortOpen(false);
    if (!m_PortPrepared) line.CommPort(Variant(m_PortAddress).ToInteger());
    line.PortOpen(true);
    m_PortPrepared = true;
}

void cOrvixDriverNB1::Disconnect() {
    m_Tracer.TraceEvent("OrvixNimbo1Lib.cOrvixDriverNB1.iOrvixDriver_Disconnect Port " + m_PortAddress);
    Attempt([&] {
        if (!m_Simulation && MSComm1().PortOpen()) MSComm1().PortOpen(false);
    });
    m_Connected = false;
    Attempt([&] { m_IPC->SendCustomMessage("DISCONNECTED"); });
}

SerialControl& cOrvixDriverNB1::MSComm1() const {
    return Held(Held(m_fComm).MSComm1);
}

}  // namespace orvix
