#include "PLVCommon/stats/TQGPUInfo.h"

#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/stats/XRGGraphicsCard.h"

#include <QMetaType>
#include <QSet>

TQGPUInfo::TQGPUInfo(QObject *parent) : TQGPUInfo(std::make_shared<PLVGPUSources>(), parent) {}

TQGPUInfo::TQGPUInfo(std::shared_ptr<PLVGPUSources> sources, QObject *parent)
    : QObject(parent), m_sources(std::move(sources))
{
    gpuCoresInformation();
}

TQGPUInfo::~TQGPUInfo() = default;

QVariantMap TQGPUInfo::gpuCoresInformation()
{
    if (m_sources) {
        std::lock_guard refreshing(m_refreshMutex);
        const PLVGPUSources::Tables tables = m_sources->read();
        refreshWithTables(tables.pciDevices, tables.accelerators);
    }
    return gpuData();
}

void TQGPUInfo::refreshWithTables(const QList<QVariantMap> &allPciDevices, const QList<QVariantMap> &accelerators)
{
    QList<QVariantMap> pci; // only devices whose model is byte data
    for (const QVariantMap &d : allPciDevices)
        if (d.value(QStringLiteral("model")).typeId() == QMetaType::QByteArray)
            pci.append(d);

    QSet<qsizetype> usedPci, usedAccelerators;
    std::vector<std::unique_ptr<XRGGraphicsCard>> cards;
    QStringList pciAddresses; // of each card's PCI device
    auto makeCard = [&](qsizetype i, qsizetype j) {
        cards.push_back(std::make_unique<XRGGraphicsCard>(pci.at(i), accelerators.at(j)));
        pciAddresses << pci.at(i).value(QStringLiteral("pci-address")).toString();
        usedPci.insert(i);
        usedAccelerators.insert(j);
    };

    // First pass: the pair at the same index, else the first unused accelerator
    // that matches. The direct pair does not look at what is used already. PCI
    // devices beyond the last accelerator's index still get the scan, so that an
    // accelerator naming a later device is paired with it rather than handed,
    // unmatched, to an earlier device without one (a GPU with no driver bound).
    for (qsizetype i = 0; i < pci.size(); ++i) {
        if (i < accelerators.size() && XRGGraphicsCard::matchingPCIDevice(pci.at(i), accelerators.at(i))) {
            makeCard(i, i);
            continue;
        }
        for (qsizetype j = 0; j < accelerators.size(); ++j) {
            if (usedAccelerators.contains(j))
                continue;
            if (XRGGraphicsCard::matchingPCIDevice(pci.at(i), accelerators.at(j))) {
                makeCard(i, j);
                break;
            }
        }
    }
    // Second pass: every leftover PCI device takes every leftover accelerator, unmatched.
    for (qsizetype i = 0; i < pci.size(); ++i) {
        if (usedPci.contains(i))
            continue;
        for (qsizetype j = 0; j < accelerators.size(); ++j) {
            if (usedAccelerators.contains(j))
                continue;
            makeCard(i, j);
        }
    }

    std::lock_guard lock(m_mutex);
    m_numGPUs = quint64(cards.size());
    for (size_t c = 0; c < cards.size(); ++c) {
        const auto &card = cards[c];
        QVariantMap entry;
        const QString name = card->fullCardName();
        entry.insert(QStringLiteral("vendorFullName"), name.isNull() ? QStringLiteral("") : name);
        const QString vendor = card->vendorString();
        entry.insert(QStringLiteral("vendorID"), vendor.isNull() ? QStringLiteral("Unknown") : vendor);
        if (card->totalVRAM() > 0) {
            entry.insert(QStringLiteral("totalVRAM"), card->totalVRAM());
            entry.insert(QStringLiteral("freeVRAM"), card->freeVRAM());
        }
        if (card->deviceUtilization() != -1)
            entry.insert(QStringLiteral("deviceUtilization"), card->deviceUtilization());
        // Without a firmware path the PCI address tells cards apart.
        QString key = card->acpiPath();
        if (key.isEmpty())
            key = pciAddresses.at(qsizetype(c));
        if (key.isEmpty())
            key = QStringLiteral("keyUnknown");
        m_gpuData.insert(key, entry);
    }
}

QVariantMap TQGPUInfo::gpuData() const
{
    std::lock_guard lock(m_mutex);
    return m_gpuData;
}

quint64 TQGPUInfo::numGPUs() const
{
    std::lock_guard lock(m_mutex);
    return m_numGPUs;
}
