#include <tavix/backend.h>
#include <tavix/backendcontrol.h>
#include <tavix/sim/simbackend.h>
#ifdef TAVIX_WITH_ARAVIS
#include <tavix/aravis/arvbackend.h>
#endif

#include <QtGlobal>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <sstream>

namespace {

struct KnownBackend
{
    const char* name;
    Tavix::ABackend* (*instance)();
};

const std::vector<KnownBackend>& knownBackends()
{
    static const std::vector<KnownBackend> known = {
        {"sim", &TavixSim::simBackend},
#ifdef TAVIX_WITH_ARAVIS
        {"aravis", &TavixAravis::aravisBackend},
#endif
    };
    return known;
}

const KnownBackend* findBackend(const std::string& name)
{
    for (const KnownBackend& backend : knownBackends()) {
        if (name == backend.name)
            return &backend;
    }
    return nullptr;
}

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool parseList(const std::string& list, std::vector<std::string>& names, std::string& error)
{
    std::istringstream stream(list);
    std::string item;
    while (std::getline(stream, item, ',')) {
        const std::string name = trimmed(item);
        if (name.empty())
            continue;
        if (!findBackend(name)) {
            std::string known;
            for (const KnownBackend& backend : knownBackends())
                known += (known.empty() ? "" : ", ") + std::string(backend.name);
            error = "Unknown camera backend '" + name + "'; this build knows " + known + ".";
            return false;
        }
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    if (names.empty()) {
        error = "The list of camera backends is empty.";
        return false;
    }
    return true;
}

struct Selection
{
    Selection()
    {
        names = {"sim"};
        const char* fromEnvironment = std::getenv("TAVIX_BACKENDS");
        if (!fromEnvironment || !*fromEnvironment)
            return;
        std::vector<std::string> chosen;
        std::string error;
        if (parseList(fromEnvironment, chosen, error))
            names = chosen;
        else
            qWarning("Tavix: TAVIX_BACKENDS is ignored: %s", error.c_str());
    }

    std::mutex mutex;
    std::vector<std::string> names;
};

Selection& selection()
{
    static Selection instance;
    return instance;
}

} // namespace

namespace Tavix {

std::vector<ABackend*> activeBackends()
{
    Selection& s = selection();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::vector<ABackend*> backends;
    for (const std::string& name : s.names)
        backends.push_back(findBackend(name)->instance());
    return backends;
}

} // namespace Tavix

namespace TavixBackends {

std::vector<std::string> availableBackends()
{
    std::vector<std::string> names;
    for (const KnownBackend& backend : knownBackends())
        names.push_back(backend.name);
    return names;
}

std::vector<std::string> activeBackends()
{
    Selection& s = selection();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.names;
}

bool setActiveBackends(const std::string& list, std::string* error)
{
    std::vector<std::string> chosen;
    std::string text;
    if (!parseList(list, chosen, text)) {
        if (error)
            *error = text;
        return false;
    }
    Selection& s = selection();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.names = chosen;
    return true;
}

} // namespace TavixBackends
