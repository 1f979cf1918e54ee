// The font toolbar of the message windows: font face and size lists, bold,
// italic and underline toggles, and a picker of smilie codes. It keeps no
// message logic; the host window reacts to its signals.
#pragma once

#include <QString>
#include <QWidget>

#include <array>

class QAction;
class QComboBox;
class QFrame;
class QToolBar;
class QToolButton;

namespace velmora {

class FontToolbar : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString FontName READ FontName WRITE setFontName)
    Q_PROPERTY(QString FontSize READ FontSize WRITE setFontSize)
    Q_PROPERTY(bool Bold READ Bold WRITE setBold)
    Q_PROPERTY(bool Italic READ Italic WRITE setItalic)
    Q_PROPERTY(bool Underlined READ Underlined WRITE setUnderlined)
    Q_PROPERTY(bool SmilieVisible READ SmilieVisible WRITE setSmilieVisible)

public:
    enum class Style { Bold, Italic, Underlined };
    Q_ENUM(Style)

    // The picker's codes, by button index.
    static constexpr std::array<const char*, 7> kSmilieCodes{":)",   ":D", ":P", ":(",
                                                             ":-\\", ":O", ";)"};

    explicit FontToolbar(QWidget* parent = nullptr);

    // Puts the pictures from appFolder's "Smilies" folder on the picker's
    // buttons; a button whose picture is missing shows its code instead.
    void loadSmilies(const QString& appFolder);

    [[nodiscard]] QString FontName() const;
    void setFontName(const QString& name);
    [[nodiscard]] QString FontSize() const;
    // Any text is accepted, also a size the list does not offer.
    void setFontSize(const QString& size);
    [[nodiscard]] bool Bold() const;
    void setBold(bool on);
    [[nodiscard]] bool Italic() const;
    void setItalic(bool on);
    [[nodiscard]] bool Underlined() const;
    void setUnderlined(bool on);
    [[nodiscard]] bool SmilieVisible() const;
    void setSmilieVisible(bool visible);

signals:
    // Raised by a click on a toggle and by the setters alike.
    void FontStyleChanged(velmora::FontToolbar::Style button, bool value);
    void SmilieClick(const QString& code);
    void FontNameChanged(const QString& name);
    void FontSizeChanged(const QString& size);
    // A persisted property ("Bold", "Italic", "Underlined", "SmilieVisible")
    // was set, so that the host knows its saved state is out of date.
    void PropertyChanged(const QString& name);

private:
    QAction* addToggle(Style style, const QString& letter, const QString& tip);
    void buildSmiliePicker();
    void setStyle(Style style, bool on);
    void smilieClicked(int index);

    QComboBox* m_name;
    QComboBox* m_size;
    QToolBar* m_toolbar;
    std::array<QAction*, 3> m_toggles{};
    QAction* m_smilieEntry = nullptr;
    QToolButton* m_smilieButton = nullptr;
    QFrame* m_picker = nullptr;
    std::array<QToolButton*, 7> m_smilies{};
};

} // namespace velmora
