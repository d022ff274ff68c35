// What LeakSanitizer passes over, compiled into every program of its build so that it holds
// wherever the program runs.

extern "C" const char* __lsan_default_options();
extern "C" const char* __lsan_default_suppressions();

// Programs' own words are tested.
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}

extern "C" const char* __lsan_default_suppressions() {
    // The font library keeps what it has read to the end, partly by offsets in place of pointers.
    return "leak:libfontconfig\n";
}
