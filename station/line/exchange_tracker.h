#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "station/model/line_event.h"

namespace orvix::station {

/// How an exchange has ended.
enum class Outcome {
    Good,
    Silent,    ///< no byte came in time
    CutOff,    ///< only a part of the answer came in time
    BadFrame,  ///< the answer is no frame, or from an address that is not on the bus
    Checksum,
    Refused,
    Foreign,   ///< the answer to another request came instead, or its tail
    LineLost,  ///< the port failed
};
inline constexpr std::size_t kOutcomes = 8;

/// One request and what became of it.
struct ExchangeEnd {
    int Address = 0;
    orvix::station::Outcome Outcome = orvix::station::Outcome::Good;
    Duration Sent{0};       ///< when the request was sent, by the clock of the line's events
    Duration RoundTrip{0};  ///< from there to the last byte of the answer; of Good and Refused
    bool Retry = false;     ///< the request before was the same and failed
};

/// An answer that came on top of the one expected, or noise.
struct Surplus {
    enum class Kind {
        Noise,    ///< bytes that are no answer
        Doubled,  ///< a second answer to one request
        Late,     ///< an answer whose request had timed out
    };
    int Address = 0;  ///< whose answer; of noise, the address asked before it
    Kind What = Kind::Noise;
    std::size_t Bytes = 0;  ///< of Noise
};

/// Follows the requests and answers on one serial line.
class ExchangeTracker {
public:
    struct Events {
        std::function<void(const ExchangeEnd&)> OnEnd;
        std::function<void(const Surplus&)> OnSurplus;
    };

    /// `retries`: how often a failed request is sent again at most.
    ExchangeTracker(int retries, Events events) : m_Retries(retries), m_Events(std::move(events)) {}

    void Take(const LineEvent& event);
    /// The exchange with an address has failed, which the line itself tells with its next event only.
    void Failed(int address);

private:
    struct Request {
        int Address = 0;
        std::string Bytes;
        Duration Sent{0};
        int Attempt = 0;
    };
    /// What is known of an address, to tell where surplus bytes come from.
    struct Station {
        bool Asked = false;
        int Owed = 0;  ///< answers that may still come, late
        Duration OwedSince{0};
        int Displaced = 0;  ///< answers that come after another address's was taken for them
        std::size_t ReplyLength = 0;
    };

    void Begin(const LineEvent& event);
    void Receive(const LineEvent& event);
    bool AwaitsTail();
    void EndDisturbed(std::string rest);
    void End(Outcome outcome, Duration roundTrip);
    void EndUnanswered();
    Outcome Judge(std::string_view reply);
    void JudgeRest();
    void TakeSurplusAnswer(int address);
    /// The address of the whole answer that bytes begin with; nothing when they begin with none of this bus.
    std::optional<int> AnswerAt(std::string_view bytes) const;
    /// Whether bytes may be the first ones of an answer that has not come to its end.
    bool IsBegunAnswer(std::string_view bytes) const;
    bool IsTwice(std::size_t bytes) const;
    Station& StationOf(int address) { return m_Stations[static_cast<std::size_t>(address)]; }

    int m_Retries;
    Events m_Events;
    std::array<Station, 256> m_Stations{};
    Request m_Request;  ///< the latest
    bool m_Pending = false;
    std::optional<Outcome> m_Latest;  ///< outcome of the latest request, unless it is pending
    std::string m_Answer;             ///< what has come for the latest request
    std::string m_Rest;               ///< what has come beyond that
    std::string m_Begun;              ///< of an answer that was coming when the latest request was sent
    bool m_IsBegunInNoise = false;    ///< it answers the request before, after noise
};

}  // namespace orvix::station
