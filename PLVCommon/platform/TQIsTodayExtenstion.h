#pragma once

// Whether this process is the widget host. The monitor application runs under
// exactly QApplication; the widget host runs under its own subclass, and any
// other application class counts as a widget host too. With no application
// object the process counts as the monitor application.
class TQIsTodayExtenstion
{
public:
    static bool isTodayExtention();
};
