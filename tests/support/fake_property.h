#pragma once

#include <utility>

/// Implements an interface's property Name by a field m_Name.
#define NB1_FAKE_PROPERTY(Interface, Type, Name) \
    Type Interface##_##Name() const override {   \
        return m_##Name;                         \
    }                                            \
    void Interface##_##Name(Type rhs) override { \
        m_##Name = std::move(rhs);               \
    }                                            \
    Type m_##Name
