// Feeds arbitrary bytes to the scenario reader: it must answer with a scenario or an error text,
// never crash, hang or leak.
#include <tavix/sim/scenario.h>

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char*>(data), int(size));
    TavixSim::Scenario scenario;
    QString error;
    if (!TavixSim::parseScenario(json, QStringLiteral("fuzz"), scenario, error) && error.isEmpty())
        __builtin_trap(); // a refusal always says why
    return 0;
}
