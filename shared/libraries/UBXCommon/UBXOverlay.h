#ifndef UBXOVERLAY_H
#define UBXOVERLAY_H

#include "UBXCommonExport.h"

#include <QByteArray>
#include <QColor>
#include <QDateTime>
#include <QDomDocument>
#include <QHash>
#include <QImage>
#include <QString>
#include <QStringList>

class QFont;
class QPaintDevice;
class QPainter;
class QRect;

// An overlay: labels and pictures painted over a screen image, described by an
// XML document. The root element (any name) may carry "margin" and
// "backgroundColor"; its "UBXOverlayLabel" and "UBXOverlayImage" children are
// painted in document order, anything else is skipped silently. Painting never
// stops at a bad value: each one adds a message to the error list and the
// attribute keeps its default.
//
// Values:
// - x, y, width, height: an integer (pixels) or a decimal number followed by
//   "%" (of the inner extent of the axis: the device's extent less both
//   margins of the root). Sizes must not be negative.
// - margin: an integer or an integer followed by "%", never negative. A margin
//   of more than half the extent leaves an empty inner area.
// - colours: "rgba(r,g,b,a)", "rgba(r,g,b)" (opaque), a colour name or
//   "#rrggbb" and the other hexadecimal forms. "rgb(r,g,b)" is refused, as the
//   three-number form is spelt "rgba(" too. Each number is 0 to 255.
// - alignments: "left", "center", "right"; "top", "center", "bottom".
// - borderWidth: a non-negative integer (pixels).
//
// Placing a box (label or picture) inside the inner area: the alignment names
// the edge x (or y) is measured from, towards the inside; "center" measures it
// from the middle, positive to the right (down). Defaults are left and top, at
// offset 0. A box never leaves the inner area: a box larger than the area is
// made to fit, then one that sticks out is moved back inside.
//
// Labels: width and height default to the rest of the inner area from the
// box's offset. The box is filled with "backgroundColor" (default: none) and
// framed, inside the box, with "borderWidth" pixels (default 0) of
// "borderColor" (default: the text colour). "margin" (default 0; a percentage
// is of the box's own width and height) separates the frame from the text.
// "color" is the text colour (default black), "font" the family (default: the
// application font's). The text is drawn centred at the largest pixel size
// whose lines fit within the frame and margin; text that does not fit even at
// one pixel is clipped to that area. In "text", "${TIME}", "${DATE}" and
// "${DATETIME}" become the current time, date, and date and time in the
// locale's short format, taken once per painting.
//
// Pictures: "source" is a file path, relative ones against the source
// directory. Without width and height the picture keeps its own size; with one
// of them the other follows from its aspect ratio; with both it is stretched to
// them. A picture larger than the inner area is scaled down to fit, keeping its
// aspect ratio. Only regular files are read, so a source naming a device or a
// pipe cannot block the painting.
//
// Document colours (the root's and a label's) that equal the key colour are
// painted with the replacement colour. Unless both colours are valid nothing
// is replaced.
class UBXCOMMON_EXPORT UBXOverlay : public QDomDocument
{
public:
    // Documents longer than this, or with elements nested deeper, are refused
    // by mpLoad().
    static constexpr qsizetype cMaxDocumentBytes = 1024 * 1024;
    static constexpr int cMaxElementDepth = 64;

    // Sets the document from text that may come from anyone. Before the DOM
    // is built the text is read once as a stream and refused when it is longer
    // than cMaxDocumentBytes, nests elements deeper than cMaxElementDepth, has
    // a document type declaration (so entities cannot be declared, let alone
    // expanded) or is not well-formed. On refusal the document is emptied and
    // aError, aLine and aColumn (1-based) say why and where. The inherited
    // setContent() has none of these limits: use it for trusted text only.
    bool mpLoad(const QByteArray& aText, QString& aError, int& aLine, int& aColumn);

    // Paints the document onto the device, taking its size from the device.
    // Clears the error list first. A null device or one that cannot be painted
    // on is left alone.
    void mpRender(QPaintDevice* apDevice);

    // The messages of the last painting, in the order they were found.
    const QStringList& mfGetErrors() const { return mvErrors; }

    void mpSetKeyColor(const QColor& aColor) { mvKeyColor = aColor; }
    void mpSetReplacementColor(const QColor& aColor) { mvReplacementColor = aColor; }
    // Where relative picture sources are looked up; empty (the default) means
    // the process's current directory.
    void mpSetSourceDirectory(const QString& aDirectory) { mvSourceDirectory = aDirectory; }

    // The colour value syntax above; an invalid colour when the text matches
    // none of the forms.
    static QColor mfParseColor(const QString& aText);

private:
    void mpRenderLabel(QPainter& aPainter, const QDomElement& aElement, const QRect& aInner,
                       const QDateTime& aNow);
    void mpRenderImage(QPainter& aPainter, const QDomElement& aElement, const QRect& aInner);
    // The colour to paint for a colour of the document.
    QColor mfPainted(const QColor& aColor) const;

    // A decoded picture and the file state it was read from.
    struct UBXPicture
    {
        QDateTime mvModified;
        qint64 mvSize = 0;
        QImage mvImage;
    };

    // The picture of that path (relative ones against the source directory),
    // null when it cannot be loaded.
    QImage mfPicture(const QString& aSource);
    // The font's largest pixel size at which the text fits the area.
    int mfPixelSize(const QFont& aFont, const QString& aText, const QSize& aArea);

    QStringList mvErrors;
    // What the last painting decoded and measured, so that repeated paintings
    // of the same document neither decode nor search again. Each painting
    // keeps only what it used, which bounds both by one document's needs
    // (pictures also by a byte limit); a picture whose file changed is read
    // again.
    QHash<QString, UBXPicture> mvPictures;
    QHash<QString, UBXPicture> mvUsedPictures;
    qsizetype mvUsedPictureBytes = 0;
    QHash<QString, int> mvPixelSizes;
    QHash<QString, int> mvUsedPixelSizes;
    QColor mvKeyColor;
    QColor mvReplacementColor;
    QString mvSourceDirectory;
};

#endif
