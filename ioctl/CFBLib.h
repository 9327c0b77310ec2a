// The board's display: its framebuffer device, drawing, and bitmaps.
#pragma once

#include <cstdint>

#include "common/CFileLogger.h"
#include "common/Export.h"

/// The hardware checks, and the display.
namespace IOCTL {

/// An image and how it is drawn. Pixels are 32-bit words 0x00RRGGBB in the processor's order, row by row from the top.
///
/// The holder of a record starts with a zero-filled one (`tBMP bmp = {}`), owns both buffers, and releases them with
/// `free`. Drawing only reads them.
struct tBMP {
    std::int32_t nWidth;      ///< pixels per row
    std::int32_t nHeight;     ///< rows
    std::uint32_t* pData;     ///< nWidth * nHeight pixels from calloc, or null
    std::int32_t nKeyMode;    ///< 0 all pixels are drawn, 1 those that differ from nKeyColor, any other: none
    std::uint32_t nKeyColor;  ///< compared with all 32 bits of a pixel
    std::int32_t nBgMode;     ///< what pixels are blended with: 0 the screen, 1 nBgColor, any other: pBgData
    std::uint32_t nBgColor;   ///< background of mode 1
    std::uint32_t* pBgData;   ///< background of the other modes: laid out like the screen, with as many pixels
    std::int32_t nAlpha;      ///< weight of the image out of 256 when a mode is not 0; 256 or more copies pixels
};

/// Draws straight into the screen memory of the framebuffer device, "/dev/fb0".
///
/// Call `Open`, `SetInfo`, `InitializeScreenBuffer`, then draw. There is no back buffer: a drawing shows at once, and
/// stays on the display when the object is gone. The screen is `xres` * `yres` pixels of 32 bits without gaps between
/// rows; coordinates begin at its top left. Nothing outside the screen is ever written, and without a mapping nothing
/// is drawn.
///
/// One object is used by one thread at a time. The destructor releases the mapping and closes the device.
class TESTMODE_API CFBLib {
public:
    CFBLib();
    virtual ~CFBLib();
    CFBLib(const CFBLib&) = delete;
    CFBLib& operator=(const CFBLib&) = delete;

    /// Opens the device unless it is open. 0, or -1 when it cannot be opened (logged).
    int Open();
    /// Closes the device if it is open. The mapping stays until the object is destroyed.
    void Close();
    /// 0 when the device is open, -1 when not: not a boolean.
    int IsOpen();

    /// Sets the display area: its depth in bits per pixel, its origin and its size in pixels. From now on the size
    /// bounds `DrawPixel` and `DrawBmp`, even when the driver refuses it; the origin is only handed to the driver. 0,
    /// or -1 when the driver refuses the area or the device is not open (logged).
    int SetInfo(int nBpp, int nX, int nY, int nWidth, int nHeight);

    /// Asks the driver for the size of the screen and maps its memory; an earlier mapping is released. 0, or -1 when
    /// the device is not open, the driver gives no usable size, or the memory cannot be mapped (logged).
    int InitializeScreenBuffer();

    /// Fills the screen: with black for 0, with white (0xFFFFFFFF) for any other value.
    void ScreenClear(int nColor);

    /// Sets the pixel in column `x` of row `y` to the low 32 bits of `ulColor`, if it is inside the display area.
    void DrawPixel(int x, int y, unsigned long ulColor);

    /// Darkens the whole screen once: each colour channel becomes channel * `nAlpha` / 256, rounded down, and the top
    /// bytes become 0. Values below 0 count as 0, those above 256 as 256.
    void setAlpha(int nAlpha);

    /// Hands a brightness level to the display driver, which defines the range. The driver's result; -1 when it refuses
    /// the level or the device is not open. Logs nothing.
    int SetDisplayBrightness(int nLevel);

    /// Loads a 24-bit BMP file; needs no device. `pBmp` and `pszPath` must not be null. Sets the size and the pixels,
    /// and both modes and the key colour to 0; leaves nBgColor, pBgData and nAlpha alone. An earlier pixel buffer is
    /// replaced, not released. Pixels that the file lacks are black. A width or height below 1 gives an empty image
    /// without a buffer; this includes files whose rows run from top to bottom, since their height is negative.
    ///
    /// 0, or -1 (logged): the file cannot be opened or read, has not 24 bits per pixel, has more than 64 Mi pixels, or
    /// memory is short. The numbers in "LINE(242)" to "LINE(292)" are fixed texts, one for each step. After a failure
    /// the record may have the file's size with an earlier or a partly filled buffer: release it or load it again, but
    /// do not draw it.
    int CreateBitmap(tBMP* pBmp, char const* pszPath);

    /// Draws a loaded record with its top left pixel in column `x` of row `y`. Both may be any number: pixels outside
    /// the display area are left out. With both modes 0 the pixels are copied. Otherwise the record's colour key and
    /// background apply: each channel becomes (nAlpha * pixel + (256 - nAlpha) * background) / 256, rounded down, and
    /// the top byte 0; a weight below 0 counts as 0. A record without pixels, or without the background buffer that its
    /// mode needs, draws nothing.
    void DrawBmp(int x, int y, tBMP bmp);

private:
    void Unmap();

    std::int32_t m_nWidth = 0;
    std::int32_t m_nHeight = 0;
    std::int32_t m_nPixelCount = 0;
    std::int32_t m_nOsdX = 0;
    std::int32_t m_nOsdY = 0;
    std::int32_t m_nOsdWidth = 0;
    std::int32_t m_nOsdHeight = 0;
    std::int32_t m_nFBHandle = -1;
    std::uint32_t* m_pScreenBuffer = nullptr;
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
