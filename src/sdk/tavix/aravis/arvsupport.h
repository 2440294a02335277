#pragma once

// Aravis's headers use "signals" as a name, which Qt defines as a keyword: they come first in
// every file of this backend, before any Qt header.
#include <arv.h>

#include <tavix/genicam.h>

#include <memory>
#include <string>

namespace TavixAravis {

// Drops a reference on a GObject when the owner goes.
struct GObjectUnref
{
    void operator()(gpointer object) const
    {
        if (object)
            g_object_unref(object);
    }
};

template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

// Collects the GError of one Aravis call; throw...() turns it into the GenICam exception that
// fits it, with Aravis's message.
class CErrorTrap
{
public:
    CErrorTrap() = default;
    CErrorTrap(const CErrorTrap&) = delete;
    CErrorTrap& operator=(const CErrorTrap&) = delete;
    ~CErrorTrap();

    GError** out() { return &m_pError; }
    bool failed() const { return m_pError != nullptr; }
    std::string message() const;
    // Whether the call failed because the feature's description leaves out what was asked for
    // (an integer without a <Min>, say), which GenICam reads as the default.
    bool failedForMissingProperty() const;
    // Throws when the call failed; context names what was being done.
    void throwIfFailed(const std::string& context) const;

private:
    GError* m_pError = nullptr;
};

[[noreturn]] void throwError(const GError* error, const std::string& context);
[[noreturn]] void throwNotSupported(const char* operation);

} // namespace TavixAravis
