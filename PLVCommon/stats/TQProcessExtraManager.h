#pragma once
#include <QtGlobal>

// Gate to the optional companion class "TQProcessExtra", looked up by name in
// PLVClassRegistry when each call is made. The companion is a QObject subclass
// registered with PLV_REGISTER_CLASS whose invokable methods carry these names;
// one instance of it is created on first use and kept. Without the class, or
// when it lacks the method, each operation gives its fallback.
class TQProcessExtraManager
{
public:
    // A substitute parent for processes whose parent is the kernel or init
    // (the companion's result goes through a 32-bit float); 1 without it.
    static qint32 extraParentForPid(qint32 pid);
    // Frames per second; 0.0 without the companion.
    static float gpuFPS();
    // Bluetooth power state; -1 without the companion.
    static int systemBlueToothState();
    // Passes the low 8 bits of state, as a signed 8-bit value; nothing without the companion.
    static void systemBlueToothSetState(int state);
};
