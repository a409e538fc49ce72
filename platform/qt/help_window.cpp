#include "platform/qt/help_window.h"

#include <QFile>
#include <QFileInfo>
#include <QScrollBar>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace tvl {

QString helpAnchor(int context) { return QStringLiteral("context-%1").arg(context); }

HelpWindow::HelpWindow() : browser_(new QTextBrowser(this)) {
    setWindowTitle(QStringLiteral("Tarvoline Help"));
    setObjectName(QStringLiteral("helpWindow"));
    browser_->setObjectName(QStringLiteral("helpBrowser"));
    browser_->setAccessibleName(windowTitle());
    browser_->setOpenExternalLinks(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(browser_);
    resize(640, 520);
}

void HelpWindow::showTopic(const QString& file, int command, int context) {
    const QFileInfo info(file);
    const QUrl url = QUrl::fromLocalFile(info.absoluteFilePath());
    if (!info.isReadable()) {
        browser_->setHtml(QStringLiteral("<p>The help file <b>%1</b> cannot be read.</p>")
                              .arg(info.absoluteFilePath().toHtmlEscaped()));
        anchor_.clear();
        loaded_.clear();
        return;
    }
    // A .hlp name means nothing to the browser: the page is given as HTML.
    if (loaded_ != url) {
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly)) return;
        browser_->document()->setBaseUrl(url);
        browser_->setHtml(QString::fromUtf8(in.readAll()));
        loaded_ = url;
    }
    anchor_ = command == 1 ? helpAnchor(context) : QString();
    if (anchor_.isEmpty())
        browser_->verticalScrollBar()->setValue(0);
    else
        browser_->scrollToAnchor(anchor_);
}

}  // namespace tvl
