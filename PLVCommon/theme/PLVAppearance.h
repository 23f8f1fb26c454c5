#pragma once
#include <QColor>
#include <QObject>

#include <memory>

// The desktop's appearance: dark or light, and the accent colour.
//
// Read from xdg-desktop-portal's Settings interface, namespace
// "org.freedesktop.appearance": "color-scheme" 1 is dark, 2 light, 0 no
// preference, in which case (and without a session bus or a portal) the
// application palette's lightness decides; "accent-color" when the portal has
// one, else the palette's highlight. Created on first use on the main thread; it
// then follows the portal's SettingChanged signal and the palette, and posts
// "PLVWindowBackgroundStyleDark" or "PLVWindowBackgroundStyleLight" on the
// process-local notification centre whenever the answer changes.
class PLVAppearance : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool dark READ isDark NOTIFY appearanceChanged)
    Q_PROPERTY(QColor accentColor READ accentColor NOTIFY appearanceChanged)
    Q_PROPERTY(int colorScheme READ colorScheme NOTIFY appearanceChanged)
public:
    static PLVAppearance *sharedAppearance();

    bool isDark() const;
    QColor accentColor() const;
    // The portal's "color-scheme": -1 when there is no portal answer.
    int colorScheme() const;
    // Whether the portal answered the last read.
    bool hasPortal() const;

    // Reads the portal again, and posts the style if it changed.
    void reload();
    // Posts the current style once, so that theme objects made before take it.
    void postCurrentStyle();

    ~PLVAppearance() override;

signals:
    void appearanceChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    PLVAppearance();
    friend class PLVPortalListener;
    void settingChanged(const QString &nameSpace, const QString &key, const QVariant &value);
    void read();
    void apply(int scheme, const QColor &accent, bool post);
    struct Private;
    std::unique_ptr<Private> d;
};
