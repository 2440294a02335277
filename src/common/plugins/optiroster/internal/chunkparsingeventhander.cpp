#include "chunkparsingeventhander.h"

#include <plugins/optiroster/internal/failurerule.h>

#include <tavix/instantcamera.h>

namespace Plugin::OptiRoster::Internal {

namespace {

// The handler belongs to its camera and reports under the camera's category.
const CFailureReport& chunkFailureReport()
{
    static const CFailureReport report(onceCategoryId<LogCategories::Camera>(),
                                       QStringLiteral("Couldn't parse the chunk data of an image. Reason: "),
                                       CFailureReport::PrefixAndReason);
    return report;
}

} // namespace

CChunkParsingEventHander::CChunkParsingEventHander(QSharedPointer<ParameterCollection::CObjectState> objectState)
    : m_ptrObjectState(std::move(objectState))
{
}

CChunkParsingEventHander::~CChunkParsingEventHander()
{
    dropParser();
}

void CChunkParsingEventHander::createParser(Tavix::CInstantCamera& camera)
{
    m_pDevice = camera.GetDevice();
    if (m_pDevice)
        m_pChunkParser = m_pDevice->CreateChunkParser();
}

void CChunkParsingEventHander::dropParser()
{
    if (m_pChunkParser) {
        if (m_pDevice) {
            m_pDevice->DestroyChunkParser(m_pChunkParser);
            m_pChunkParser = nullptr;
        }
        m_ptrHeldGrabResult.Release();
    }
}

void CChunkParsingEventHander::OnAttached(Tavix::CInstantCamera& camera)
{
    if (camera.IsOpen())
        createParser(camera);
}

void CChunkParsingEventHander::OnDetach(Tavix::CInstantCamera&)
{
    dropParser();
}

void CChunkParsingEventHander::OnOpened(Tavix::CInstantCamera& camera)
{
    if (!m_pChunkParser) {
        createParser(camera);
        return;
    }
    Tavix::ITavixDevice* device = camera.GetDevice();
    if (device && device != m_pDevice) {
        dropParser();
        createParser(camera);
    }
}

void CChunkParsingEventHander::OnClose(Tavix::CInstantCamera&)
{
    dropParser();
}

void CChunkParsingEventHander::OnGrabStarted(Tavix::CInstantCamera& camera)
{
    if (m_pChunkParser) {
        m_pChunkParser->DetachBuffer();
        m_ptrHeldGrabResult.Release();
    }
    // Read once per grab: a change during the grab takes effect at the next start.
    m_chunkModeActive = Tavix::CBooleanParameter(camera.GetNodeMap(), "ChunkModeActive").GetValueOrDefault(false);
}

void CChunkParsingEventHander::OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr& result)
{
    if (!m_pChunkParser || !m_chunkModeActive)
        return;
    if (!result.IsValid() || !result->GrabSucceeded() || result->GetPayloadType() != Tavix::PayloadType_ChunkData)
        return;
    // Nothing may be thrown towards the grab loop: a buffer the parser refuses is reported, the
    // values of the last good one stay readable, and the grab goes on.
    reportFailures(chunkFailureReport(), [&] {
        m_pChunkParser->AttachBuffer(result->GetBuffer(), result->GetPayloadSize(), nullptr);
        // Held until the next chunk image, so that the parser's view of the buffer stays valid.
        m_ptrHeldGrabResult = result;
    });
}

} // namespace Plugin::OptiRoster::Internal
