#include "stream/DataContainer.h"

namespace Kestrova {

CDataContainer::CDataContainer() : CDataContainer(nullptr, 0) {}

CDataContainer::CDataContainer(const void* p, unsigned long n) {
    m_buffer.Write(p, n);
    m_writer.Attach(&m_buffer);
}

CDataContainer* CDataContainer::NewCopy(const void* p, unsigned long n) {
    try {
        return new CDataContainer(p, n);
    } catch (const StreamBufferException&) {
        return nullptr;
    }
}

uint32_t CDataContainer::AddRef() { return ++m_nRefs; }

uint32_t CDataContainer::Release() {
    const uint32_t nRefs = --m_nRefs;
    if (nRefs == 0) delete this;
    return nRefs;
}

}  // namespace Kestrova
