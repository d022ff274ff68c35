#pragma once

struct _cairo;
struct _cairo_surface;

/// The drawing library, opened at run time and never linked: a device may be without it. A call
/// passes on to the library; without it, the call is logged and gives 0 or null.
///
/// The entry points are written by initialize() and deinitialize() only; whoever calls these sees
/// to it that no other thread draws meanwhile.
namespace Cairo {

/// The library's file. Tests point it at a library of their own; nothing else writes it.
extern const char* moduleName;

/// Opens the library and binds all its entry points; nothing happens when it is open. A failure is
/// logged, closes it and gives false.
bool initialize();
bool isModuleOpen();
/// Closes the library, if it is open; a failure to do so is logged.
void deinitialize();

/// A context that draws on the surface. The caller destroys it.
_cairo* createContext(_cairo_surface* surface);
void destroyContext(_cairo* context);
void destroySurface(_cairo_surface* surface);
/// A surface that the caller destroys; format 2 has one alpha byte a pixel.
_cairo_surface* imageSurfaceCreate(int format, int width, int height);
/// The pixels, borrowed from the surface; null for a surface that could not be made.
unsigned char* imageSurfaceGetData(_cairo_surface* surface);
int imageSurfaceGetHeight(_cairo_surface* surface);
int imageSurfaceGetWidth(_cairo_surface* surface);
void createRectangle(_cairo* context, double x, double y, double width, double height);
void contextFill(_cairo* context);
void setAntialias(_cairo* context, int antialias);
void setLineWidth(_cairo* context, double width);
void setOperator(_cairo* context, int drawingOperator);
/// All four from 0 to 1.
void setSource_RGBA(_cairo* context, double red, double green, double blue, double alpha);
void moveTo(_cairo* context, double x, double y);
void closePath(_cairo* context);
void lineTo(_cairo* context, double x, double y);
void stroke(_cairo* context);
void surfaceFlush(_cairo_surface* surface);

}  // namespace Cairo
