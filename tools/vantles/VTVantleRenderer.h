// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

#include <Vantles/VTProblem.h>

#include <memory>

class VTVantleRendererPrivate;

/**
 * Shows one vantle in a tooltip window of its own, as a host would, and
 * takes a picture of the window once its interface has settled: the clips
 * it plays stand on their first frame.
 *
 * Needs a QApplication; runs on any platform, the offscreen one included.
 */
class VTVantleRenderer {
public:
    struct Options {
        QStringList dataPath;
        QString key;
        QString locale;
        QString keyDataFile;
        bool simple = false;
        /// The interface scale of the library (1 = as designed).
        double scale = 1.0;
    };

    explicit VTVantleRenderer(const Options& options);
    ~VTVantleRenderer();

    /// The picture of the window; a null image, with errorString() set, when
    /// there is no vantle for the key or its interface cannot be shown.
    QImage render();
    QString errorString() const;
    /// The errors and warnings the library reported meanwhile.
    QList<Vantles::VTProblem> problems() const;

    /// A dark palette for the application, tooltip colours included.
    static QPalette darkPalette();

private:
    std::unique_ptr<VTVantleRendererPrivate> const d;
};
