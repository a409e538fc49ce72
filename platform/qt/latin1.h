// The model's texts are bytes, one character each: the widgets show them as
// Latin-1, so every byte value goes to a widget and comes back unchanged.
#pragma once

#include <QLatin1String>
#include <QString>
#include <string>
#include <string_view>

namespace tvl {

inline QString latin1(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

// Compares with a QString without making one.
inline QLatin1String latin1View(std::string_view text) {
    return QLatin1String(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string bytes(const QString& text) { return text.toLatin1().toStdString(); }

}  // namespace tvl
