#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <map>
#include <memory>
#include <vector>

// Disks on Linux: mounted file systems (/proc/self/mountinfo with statvfs),
// transfer rates per whole disk (/proc/diskstats) and the processes doing the
// most storage I/O (/proc/PID/io, where readable).
struct PLVMountedVolume {
    QString mountPoint; // as the system sees it, not under the root
    QString device;     // mount source: "/dev/nvme0n1p2", "server:/export"
    QString fsType;
    quint64 totalBytes = 0;
    quint64 freeBytes = 0; // available to unprivileged users
    quint64 usedBytes = 0;
};

struct PLVDiskActivity {
    QString name;  // kernel name: "nvme0n1", "sda"
    QString model; // the drive's model, or the kernel name when the drive tells none
    bool removable = false;
    double readRate = 0; // bytes per second since the previous sample
    double writeRate = 0;
};

struct PLVProcessIO {
    qint64 pid = 0;
    QString name;
    double readRate = 0; // bytes per second that reached storage
    double writeRate = 0;
};

class PLVDiskSource
{
public:
    explicit PLVDiskSource(const PLVSysRoot &root = PLVSysRoot());
    ~PLVDiskSource();
    PLVDiskSource(const PLVDiskSource &) = delete;
    PLVDiskSource &operator=(const PLVDiskSource &) = delete;

    // File systems a person stores files on: block-device and network mounts,
    // each device once (bind mounts and second mounts left out), with sizes.
    // A mount whose statvfs fails (a disk pulled out) is left out.
    QList<PLVMountedVolume> volumes() const;

    // Whole disks (those with a device behind them: no partitions, loop, zram
    // or device-mapper), with rates since the previous call. Rates are 0 on the
    // first call, for a disk seen for the first time, and when its counters
    // went back (the disk was replaced under the same name).
    QList<PLVDiskActivity> activity(double nowSeconds);
    QList<PLVDiskActivity> activity();

    // The processes with the highest I/O rate since the previous look at
    // every process, at most count, busiest first; processes that did no I/O
    // are left out. A look younger than maxAge seconds is not taken again: its
    // list stands. The io file of a process is kept open and re-read with
    // pread() (up to kMaxHeldIoFiles of them): opening it runs a path lookup
    // and a permission check that cost more than the read, every process,
    // every tick.
    static constexpr int kMaxHeldIoFiles = 256;
    QList<PLVProcessIO> topProcesses(double nowSeconds, int count, double maxAge = 0);
    QList<PLVProcessIO> topProcesses(int count, double maxAge = 0);

    // mountinfo's octal escapes ("\040" for a space) decoded.
    static QString unescapeMountField(const QByteArray &field);
    static double monotonicSeconds();

private:
    struct DiskCounters {
        QByteArray seq; // the kernel's disk sequence number, when it has one
        std::shared_ptr<PLVOpenSysFile> seqFile; // its diskseq, held open
        quint64 readSectors = 0;
        quint64 writtenSectors = 0;
        double at = 0;
        bool isDisk = false; // a whole disk with a device behind it
        QString model;
        bool removable = false;
    };
    struct ProcessCounters {
        QByteArray name;
        quint64 readBytes = 0;
        quint64 writeBytes = 0;
        int ioFd = -1; // the process's io file, while held
    };

    void closeHeldIoFiles();
    // The storage mounts without their sizes, parsed again only when the mount table changed.
    const QList<PLVMountedVolume> &mounts() const;

    PLVSysRoot m_root;
    PLVOpenSysFile m_diskstats;
    PLVOpenSysFile m_mountinfo;
    mutable int m_mountsWatch = -1; // this process's mount table, polled for changes (live only)
    mutable QList<PLVMountedVolume> m_mounts;
    mutable bool m_mountsKnown = false;
    std::map<QByteArray, DiskCounters> m_disks;
    std::vector<char> m_seqText;
    std::map<qint64, ProcessCounters> m_processes;
    double m_processesAt = -1;
    QList<PLVProcessIO> m_busiest; // of the last look, busiest first
    int m_looks = 0;
    int m_heldIoFiles = 0;
};
