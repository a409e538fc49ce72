// The help window: the program's help file (an HTML page) in a browser pane,
// opened at its contents or at the anchor of a help context ("context-17").
// It doesn't block: the program goes on while it stands, and a second call
// brings the same window forward at the new place.
#pragma once

#include <QString>
#include <QUrl>
#include <QWidget>

class QTextBrowser;

namespace tvl {

class HelpWindow : public QWidget {
    Q_OBJECT
public:
    HelpWindow();

    // Shows file at its contents (command 3, or anything but 1) or, with
    // command 1, at the topic of context. A file that can't be read shows a
    // line saying so.
    void showTopic(const QString& file, int command, int context);

    QTextBrowser* browser() const { return browser_; }
    // The anchor last gone to; empty at the contents.
    const QString& anchor() const { return anchor_; }

private:
    QTextBrowser* browser_;
    QString anchor_;
    QUrl loaded_;
};

// "context-N": the anchor of help context N.
QString helpAnchor(int context);

}  // namespace tvl
