#pragma once

#include <QColor>

#include <memory>

// The colour scheme of all custom views: one base grey computed from the user default "brightness",
// every other surface that grey with its brightness scaled. Views ask for colours at every draw.
class UISettings {
public:
    // The scheme that every view shares, with the user default read again: all of these have one
    // state.
    UISettings();
    // The scheme of a given brightness, with a state of its own; the user default is neither read
    // nor changed.
    explicit UISettings(int brightness);

    // The scheme that every view shares, made on first use and kept until the process ends. Never
    // null.
    static UISettings* instance();

    // Reads the user default again; -100, which means that no level was set, when it is absent.
    void setupDefaults();

    bool isUsingBrightColorScheme() const;

    // The colour with its HSV brightness multiplied by the factor, limited to the range 0 to 1;
    // hue, saturation and alpha stay.
    static QColor scaleColor(const QColor& color, float brightnessFactor);

    QColor getClrFillPrimary() const;
    QColor getClrFillSecondary() const;
    QColor getClrFillToolbar() const;
    QColor getClrHeaderGradStart() const;
    QColor getClrHeaderGradEnd() const;
    QColor getClrHeaderOutlineHighlight() const;
    QColor getClrHeaderOutlineShadow() const;
    QColor getClrOutlineViewHighlight() const;
    QColor getClrScrollKnobGradStart() const;
    QColor getClrScrollKnobGradEnd() const;
    QColor getClrScrollSlotGradStart() const;
    QColor getClrScrollSlotGradEnd() const;
    // The same dark grey at every brightness.
    QColor getClrScrollKnobOutline() const;
    QColor getClrTextOutlineView() const;
    QColor getClrTextTableHeader() const;
    QColor getClrTextStats() const;

private:
    explicit UISettings(std::shared_ptr<int> brightness);
    static const std::shared_ptr<int>& sharedBrightness();
    QColor scaledPrimary(float brightnessFactor) const;
    QColor textColor() const;

    std::shared_ptr<int> m_brightness;
};
