// Stands for the drawing library: built whole, and without each of the eighteen entry points.
// Nobody calls one.
extern "C" {

#if WITHOUT_ENTRY != 1
void cairo_create() {}
#endif
#if WITHOUT_ENTRY != 2
void cairo_fill() {}
#endif
#if WITHOUT_ENTRY != 3
void cairo_destroy() {}
#endif
#if WITHOUT_ENTRY != 4
void cairo_surface_destroy() {}
#endif
#if WITHOUT_ENTRY != 5
void cairo_image_surface_create() {}
#endif
#if WITHOUT_ENTRY != 6
void cairo_image_surface_get_data() {}
#endif
#if WITHOUT_ENTRY != 7
void cairo_image_surface_get_width() {}
#endif
#if WITHOUT_ENTRY != 8
void cairo_image_surface_get_height() {}
#endif
#if WITHOUT_ENTRY != 9
void cairo_rectangle() {}
#endif
#if WITHOUT_ENTRY != 10
void cairo_set_antialias() {}
#endif
#if WITHOUT_ENTRY != 11
void cairo_set_line_width() {}
#endif
#if WITHOUT_ENTRY != 12
void cairo_set_operator() {}
#endif
#if WITHOUT_ENTRY != 13
void cairo_set_source_rgba() {}
#endif
#if WITHOUT_ENTRY != 14
void cairo_move_to() {}
#endif
#if WITHOUT_ENTRY != 15
void cairo_close_path() {}
#endif
#if WITHOUT_ENTRY != 16
void cairo_line_to() {}
#endif
#if WITHOUT_ENTRY != 17
void cairo_stroke() {}
#endif
#if WITHOUT_ENTRY != 18
void cairo_surface_flush() {}
#endif

}  // extern "C"
