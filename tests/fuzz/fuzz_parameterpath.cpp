// Feeds arbitrary paths to the parameter collection's lookups: bare names, "@Map/Feature" paths
// and "first|second" alternatives, against two attached node maps.
#include <core/parametercollection/parametercollection.h>

#include <tavix/sim/nodemap.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace {

TavixSim::FeatureDesc feature(const char* name, GenApi::EInterfaceType type)
{
    TavixSim::FeatureDesc desc;
    desc.name = name;
    desc.type = type;
    if (type == GenApi::intfIEnumeration) {
        desc.entries = {{"Off", 0, true}, {"On", 1, true}};
        desc.stringValue = "Off";
    }
    return desc;
}

struct CCollection
{
    TavixSim::CNodeMap camera{"fuzz/Camera", {feature("Width", GenApi::intfIInteger), feature("TriggerMode", GenApi::intfIEnumeration),
                                              feature("ChunkModeActive", GenApi::intfIBoolean), feature("AcquisitionStart", GenApi::intfICommand)}};
    TavixSim::CNodeMap stream{"fuzz/Stream", {feature("PayloadSize", GenApi::intfIInteger)}};
    QSharedPointer<ParameterCollection::CParameterCollection> collection =
        ParameterCollection::CParameterCollection::create(QSharedPointer<ParameterCollection::CObjectState>::create());

    CCollection()
    {
        collection->announceNodeMap(QStringLiteral("@CameraDevice"));
        collection->announceNodeMap(QStringLiteral("@StreamGrabber0"));
        collection->announceNodeMap(QStringLiteral("@EventGrabber"));
        collection->attachNodeMap(QStringLiteral("@CameraDevice"), &camera);
        collection->attachNodeMap(QStringLiteral("@StreamGrabber0"), &stream);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static CCollection fixture;
    const QString path = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    auto& collection = *fixture.collection;
    collection.isParameterAvailable(path);
    collection.getIntegerParameter(path);
    collection.getEnumParameter(path);
    collection.getBooleanParameter(path);
    collection.getCommandParameter(path);
    if (const auto parameter = collection.getParameter(path)) {
        try {
            parameter->isAvailable();
            parameter->isBlocked();
            parameter->toString();
        } catch (const GenICam::GenericException&) {
            // a refusal of the node map is an answer
        }
    }
    return 0;
}
