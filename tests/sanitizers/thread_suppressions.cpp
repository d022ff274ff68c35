// What ThreadSanitizer passes over, compiled into every program of its build so that it holds
// wherever the program runs.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
    // g_assert (tz->ref_count > 0) reads the count of the shared UTC zone without an atomic
    // operation, in GLib 2.74's own g_time_zone_ref(). What it reads is only asserted.
    //
    // g_source_set_ready_time() looks without a lock whether a source is attached. It is called for
    // the read of a bus connection that ends, which GLib's own thread may be attaching just then;
    // either order leaves the source ready.
    //
    // g_io_error_quark() keeps its number in a static without a lock; threads that ask for it first
    // at the same time write the same.
    //
    // call_appeared_handler() and call_vanished_handler() look without a lock whether a watched
    // name has just been given up. Who is called all the same sees by a flag of his own that it is
    // over; what he does is looked at.
    //
    // A proxy marks itself as complete, in async_initable_init_second_finish(), without a lock
    // against signals that come for it already. Those are dropped; who follows something lists it
    // after that.
    //
    // get_tmp_file() counts its calls without an atomic operation when two threads write files at
    // once. The count only seeds the name; a name that is taken is not opened, and another is
    // tried.
    // GLib's thread for file monitors asks in g_file_monitor_source_handle_event(), without the
    // lock of the context that the monitor belongs to, whether its source has been destroyed.
    // Nothing of ours is called there: changes are told by that source.
    return "race:^g_time_zone_ref$\n"
           "race:^cancellable_source_cancelled$\n"
           "race:^g_io_error_quark$\n"
           "race_top:^call_appeared_handler$\n"
           "race_top:^call_vanished_handler$\n"
           "race:^async_initable_init_second_finish$\n"
           "race:^g_file_monitor_source_handle_event$\n"
           "race:^get_tmp_file$\n";
}
