#include "station/mqtt/mqtt_client.h"

#include <thread>
#include <utility>

#include "station/mqtt/mqtt_worker.h"

namespace orvix::station {

MqttClient::MqttClient(MqttSetup setup, OutgoingMessages::Retained kept, Apartment& home, Tell tell)
    : m_Worker(std::make_shared<MqttWorker>(std::move(setup), std::move(kept), home, std::move(tell))) {
    std::thread([worker = m_Worker] { worker->Run(); }).detach();
}

MqttClient::~MqttClient() {
    m_Worker->Leave();
}

void MqttClient::Publish(MqttMessage message) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.Put(std::move(message)); });
}

void MqttClient::ClearBelow(const std::string& begin) {
    m_Worker->Change([&](OutgoingMessages& outgoing) { outgoing.ClearBelow(begin); });
}

OutgoingMessages::Retained MqttClient::Kept() const {
    return m_Worker->Kept();
}

void MqttClient::Finish(std::chrono::milliseconds limit) {
    m_Worker->Leave();
    m_Worker->WaitForEnd(limit);
}

}  // namespace orvix::station
