// The board's display: its framebuffer device, drawing, and bitmaps.
#pragma once

#include <cstdint>

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// An image and how it is drawn. Pixels are 32-bit words 0x00RRGGBB in the processor's order, row by row from the top.
///
/// Whoever holds a record begins with a zero-filled one (`tBMP bmp = {}`), owns both buffers, and releases them with
/// `free`. Drawing only reads them.
struct tBMP {
    std::int32_t nWidth;      ///< pixels per row
    std::int32_t nHeight;     ///< rows
    std::uint32_t* pData;     ///< nWidth * nHeight pixels from calloc, or null
    std::int32_t nKeyMode;    ///< 0 every pixel is drawn, 1 those that differ from nKeyColor, else none
    std::uint32_t nKeyColor;  ///< compared with all 32 bits of a pixel
    std::int32_t nBgMode;     ///< a pixel is blended with: 0 the screen, 1 nBgColor, else pBgData
    std::uint32_t nBgColor;   ///< background of mode 1
    std::uint32_t* pBgData;   ///< background of the other modes: laid out like the screen, with as many pixels
    std::int32_t nAlpha;      ///< weight of the image, out of 256, when a mode is not 0; above 255 pixels are copied
};

/// Draws straight into the screen memory of the framebuffer device, "/dev/fb0".
///
/// Call `Open`, `SetInfo`, `InitializeScreenBuffer`, then draw. There is no back buffer: what is drawn can be seen at
/// once, and it stays on the display when the object is gone. The screen is `xres` * `yres` pixels of 32 bits without a
/// gap between rows; coordinates begin at its top left. Nothing outside the screen is ever written, and without a
/// mapping nothing is drawn.
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

    /// Sets the display area: its depth in bits per pixel, its origin and its size in pixels. The size is kept even
    /// when the driver refuses it, and bounds `DrawPixel` and `DrawBmp` from now on; the origin is the driver's
    /// business alone. 0, or -1 when the driver refuses it or the device is not open (logged).
    int SetInfo(int nBpp, int nX, int nY, int nWidth, int nHeight);

    /// Asks the driver for the size of the screen and maps its memory; an earlier mapping is released. 0, or -1 when
    /// the device is not open, the driver does not tell a usable size, or the memory cannot be mapped (logged).
    int InitializeScreenBuffer();

    /// Fills the screen: black with 0, else with 0xFFFFFFFF, white.
    void ScreenClear(int nColor);

    /// Sets the pixel in column `x` of row `y` to the low 32 bits of `ulColor`, if it is inside the display area.
    void DrawPixel(int x, int y, unsigned long ulColor);

    /// Darkens the whole screen once: each colour channel is multiplied by `nAlpha` / 256 and cut off, the top bytes
    /// become 0. Below 0 stands for 0, above 256 for 256.
    void setAlpha(int nAlpha);

    /// Hands a level to the display driver, which defines its range. The result of the request; -1 when the driver
    /// refuses it or the device is not open. Logs nothing.
    int SetDisplayBrightness(int nLevel);

    /// Loads a 24-bit BMP file; needs no device. Sets the size, the pixels, and all modes to "copy"; of the rest of the
    /// record nothing. An earlier pixel buffer is replaced, not released. Missing pixels of a file that ends early are
    /// black; a width or height below 1 (rows from top to bottom, too) gives an empty image without a buffer.
    ///
    /// 0, or -1 (logged): the file cannot be opened or read, is not of 24 bits, has more than 64 Mi pixels, or memory
    /// is short. After a failure the size may be that of the file and the buffer an earlier one or partly filled: the
    /// record is good to be released or loaded again, not to be drawn.
    int CreateBitmap(tBMP* pBmp, char const* pszPath);

    /// Draws a loaded record with its top left pixel in column `x` of row `y`, either of which may lie anywhere: what
    /// is outside the display area is left out. With both modes 0 rows are copied; else pixel by pixel, with the colour
    /// key and blended as the record says, each channel (nAlpha * pixel + (256 - nAlpha) * background) / 256, cut off,
    /// the top byte 0. A weight below 0 stands for 0. A record without pixels, or without the background buffer that
    /// its mode asks for, draws nothing.
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
