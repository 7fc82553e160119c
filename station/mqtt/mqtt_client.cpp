#include "station/mqtt/mqtt_client.h"

#include <thread>
#include <utility>

#include "station/mqtt/mqtt_worker.h"

namespace orvix::station {

MqttClient::MqttClient(MqttSetup setup, OutgoingMessages first, std::shared_ptr<OrderedMessages> ordered,
                       std::string list, Apartment& home, Tell tell)
    : m_Worker(std::make_shared<MqttWorker>(std::move(setup), std::move(first), std::move(ordered), std::move(list),
                                            home, std::move(tell))) {
    std::thread([worker = m_Worker] { worker->Run(); }).detach();
}

MqttClient::~MqttClient() {
    m_Worker->Leave();
}

void MqttClient::Publish(MqttMessage message) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.Put(std::move(message)); });
}

void MqttClient::PublishFirst(MqttMessage message) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.PutFirst(std::move(message)); });
}

void MqttClient::ClearBelow(const std::string& begin, const std::set<std::string>& except) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.ClearBelow(begin, except); });
}

void MqttClient::ClearEarlier(const std::function<bool(const std::string& topic)>& isClaimed) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.ClearEarlier(isClaimed); });
}

OutgoingMessages::Retained MqttClient::Kept() const {
    return m_Worker->Kept();
}

std::set<std::string> MqttClient::KeptTopics() const {
    return m_Worker->KeptTopics();
}

void MqttClient::Leave() {
    m_Worker->Leave();
}

MqttConnectionState MqttClient::State() const {
    return m_Worker->State();
}

void MqttClient::Finish(std::chrono::milliseconds limit) {
    m_Worker->Leave();
    m_Worker->WaitForEnd(limit);
}

}  // namespace orvix::station
