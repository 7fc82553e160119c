#pragma once

#include <memory>
#include <typeindex>
#include <unordered_map>

#include "host/apartment.h"
#include "host/database.h"
#include "host/line.h"
#include "host/messaging.h"
#include "host/reports.h"
#include "host/stores.h"
#include "host/trace_viewer.h"

namespace orvix {

/// What the library's modules keep once per apartment. An item is made, default-constructed, when it is first asked for
/// and lives as long as the apartment's services.
class ApartmentState {
public:
    class Item {
    public:
        virtual ~Item() = default;
    };

    template <class T>
    T& Of() {
        auto& item = m_Items[std::type_index(typeid(T))];
        if (!item) item = std::make_unique<T>();
        return static_cast<T&>(*item);
    }

private:
    std::unordered_map<std::type_index, std::unique_ptr<Item>> m_Items;
};

/// Everything that the library asks of its host and of the operating system, for one apartment. An object is created
/// with its apartment's services and hands them to what it creates; the services outlive all of them.
struct Services {
    orvix::Apartment& Apartment;
    orvix::Messaging& Messaging;
    orvix::Line& Line;
    orvix::Stores& Stores;
    orvix::Database& Database;
    orvix::Reports& Reports;
    orvix::TraceViewer& TraceViewer;
    ApartmentState& State;
};

}  // namespace orvix
