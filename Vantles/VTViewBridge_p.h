// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "VTViewLibrary_p.h"

namespace Vantles {

/**
 * The view library's side of VTViewLibrary: each entry does what it says to
 * the VTWidget a window is, or to its VTView.
 */
class VTViewBridge final : public VTViewLibrary {
public:
    QWidget* createWindow(VTManager* manager, QWidget* parent) override;
    void prepare(VTManager* manager) override;
    bool useSoftwareRenderer() override;
    void setHostUsesQtQuick(bool uses) override;

    VTWidget* widget(QWidget* window) override;
    QWidget* window(VTWidget* widget) override;

    QWidget* referenceWidget(const QWidget* window) override;
    void showWithContent(QWidget* window, QObject* reference, const QPoint& pos, VTXmlElement* content,
        const QString& rootPath) override;
    void hideAnimated(QWidget* window) override;
    void hideAnimationFinished(QWidget* window) override;
    qreal fadeLevel(const QWidget* window) override;
    bool isSafe(const QWidget* window, const QPoint& pos) override;
    void checkMousePosition(QWidget* window, const QPoint& pos) override;
    void setShownByKeyboard(QWidget* window, bool byKeyboard) override;
    bool isShownByKeyboard(const QWidget* window) override;

    VTXmlElement* content(const QWidget* window) override;
    void replaceContent(QWidget* window, VTXmlElement* content) override;
    bool reserved(const QWidget* window) override;
    void setReserved(QWidget* window, bool reserved) override;
    bool stayOpen(const QWidget* window) override;
    void setStayOpen(QWidget* window, bool stayOpen) override;
    QString findComponent(const QWidget* window, const QString& attribute, VTContextKey key,
        const QString& defaultValue, const QString& relativePath) override;
    QStringList componentCandidates(const QWidget* window, const QString& attribute, VTContextKey key,
        const QString& defaultValue, const QString& relativePath) override;
};

} // namespace Vantles
