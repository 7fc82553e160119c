#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/listener.h"
#include "station/run/episodes.h"
#include "station/run/output.h"

namespace orvix::station {

/// Tells an output what happens on the buses of a station.
class OutputListener : public Listener {
public:
    struct Choice {
        bool Readings = true;   ///< else only what is out of the ordinary
        bool Messages = false;  ///< also the library's messages to its host
    };

    OutputListener(Output& output, Apartment& home, Choice choice);

    /// Whether there has been a good reading.
    bool AnyGood() const { return m_AnyGood; }
    /// What is not well at the end, for a person; empty when all is.
    std::string Summary() const { return m_Episodes.Summary(m_Home.Now()); }

    void OnIdentity(const DeviceIdentity& identity) override;
    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnMessage(const std::string& port, const std::string& text) override;
    bool WantsMessages() const override { return m_Choice.Messages; }
    void OnLine(const LineEvent& event) override;
    void OnAlarm(const AlarmEvent& event) override;
    void OnDeviceGone(const DeviceId& device) override;
    void OnPortGone(const std::string& port) override { m_Episodes.Forget(IdOf(port, 0)); }

private:
    void TellAll(std::vector<EpisodeEvent> events);

    Output& m_Output;
    Apartment& m_Home;
    const Choice m_Choice;
    bool m_AnyGood = false;
    Episodes m_Episodes;
    std::unique_ptr<Timer> m_Passing;
};

}  // namespace orvix::station
