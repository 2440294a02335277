#pragma once

#include <core/parametercollection/objectstate.h>

#include <tavix/eventhandlers.h>
#include <tavix/transportlayer.h>

#include <QSharedPointer>

namespace Plugin::OptiRoster::Internal {

// Feeds the chunk data of each image to the SDK's chunk parser, so that chunk values appear in
// the camera's node map for parameter clients.
class CChunkParsingEventHander : public Tavix::CImageEventHandler, public Tavix::CConfigurationEventHandler
{
public:
    explicit CChunkParsingEventHander(QSharedPointer<ParameterCollection::CObjectState> objectState);
    ~CChunkParsingEventHander() override;

    void OnImageGrabbed(Tavix::CInstantCamera& camera, const Tavix::CGrabResultPtr& result) override;
    void OnAttached(Tavix::CInstantCamera& camera) override;
    void OnDetach(Tavix::CInstantCamera& camera) override;
    void OnOpened(Tavix::CInstantCamera& camera) override;
    void OnClose(Tavix::CInstantCamera& camera) override;
    void OnGrabStarted(Tavix::CInstantCamera& camera) override;

private:
    void createParser(Tavix::CInstantCamera& camera);
    void dropParser();

    Tavix::CGrabResultPtr m_ptrHeldGrabResult;
    Tavix::IChunkParser* m_pChunkParser = nullptr;
    Tavix::ITavixDevice* m_pDevice = nullptr;
    bool m_chunkModeActive = false;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrObjectState;
};

} // namespace Plugin::OptiRoster::Internal
