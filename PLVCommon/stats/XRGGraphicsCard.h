#pragma once
#include <QString>
#include <QVariantMap>

#include <atomic>

// One graphics processor: the pairing of a PCI device's property table with an
// accelerator's, and its memory figures reconciled. -1 marks an unknown figure;
// a new card starts with every number at 0.
class XRGGraphicsCard
{
public:
    // initWithPCIDevice:accelerator: — always gives a card, however little the tables hold.
    XRGGraphicsCard(const QVariantMap &pciDevice, const QVariantMap &accelerator);

    // Whether the accelerator's IOPCIMatch (else IOPCIPrimaryMatch) names the
    // PCI device's device and vendor ids.
    static bool matchingPCIDevice(const QVariantMap &pciDevice, const QVariantMap &accelerator);

    // Fills in one missing memory figure from the other two and tells whether
    // the three now make sense. A free figure of 0 with no used figure is not
    // trusted (NO after filling in).
    bool valuesOkay();
    // "AMD", "nVidia", "Intel", or a null string.
    QString vendorString() const;

    quint32 vendor() const { return m_vendor.load(); }
    qint64 totalVRAM() const { return m_totalVRAM.load(); }
    qint64 usedVRAM() const { return m_usedVRAM.load(); }
    qint64 freeVRAM() const { return m_freeVRAM.load(); }
    qint64 cpuWait() const { return m_cpuWait.load(); }
    qint64 deviceUtilization() const { return m_deviceUtilization.load(); }
    QString fullCardName() const { return m_fullCardName; }
    QString acpiPath() const { return m_acpiPath; }

    void setVendor(quint32 v) { m_vendor.store(v); }
    void setTotalVRAM(qint64 v) { m_totalVRAM.store(v); }
    void setUsedVRAM(qint64 v) { m_usedVRAM.store(v); }
    void setFreeVRAM(qint64 v) { m_freeVRAM.store(v); }
    void setCpuWait(qint64 v) { m_cpuWait.store(v); }
    void setDeviceUtilization(qint64 v) { m_deviceUtilization.store(v); }

private:
    std::atomic<quint32> m_vendor{0};
    std::atomic<qint64> m_totalVRAM{0};
    std::atomic<qint64> m_usedVRAM{0};
    std::atomic<qint64> m_freeVRAM{0};
    std::atomic<qint64> m_cpuWait{0};
    std::atomic<qint64> m_deviceUtilization{0};
    QString m_fullCardName;
    QString m_acpiPath;
};
