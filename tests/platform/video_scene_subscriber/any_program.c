/* A program of any kind, in C: opens the module by the path given, takes so many scenes of a
   channel and tells of them, a line each.

       any_program MODULE CHANNEL SCENES */

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "video_scene_subscriber/video_scene_subscriber.h"

typedef video_scene_subscriber_st* (*create_t)(int, data_format_t, void*);
typedef int (*call_t)(video_scene_subscriber_st*);
typedef int (*set_disconnect_t)(video_scene_subscriber_st*, video_scene_subscriber_disconnect_t);
typedef int (*set_message_t)(video_scene_subscriber_st*, video_scene_subscriber_message_t);

struct state {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int left;
    int disconnected;
};

static void on_message(char* payload, void* user_data) {
    struct state* state = (struct state*)user_data;
    pthread_mutex_lock(&state->mutex);
    if (state->left > 0) {
        printf("scene %.4s\n", payload);
        --state->left;
    }
    pthread_cond_signal(&state->changed);
    pthread_mutex_unlock(&state->mutex);
    free(payload);
}

static void on_disconnect(void* user_data) {
    struct state* state = (struct state*)user_data;
    pthread_mutex_lock(&state->mutex);
    state->disconnected = 1;
    pthread_cond_signal(&state->changed);
    pthread_mutex_unlock(&state->mutex);
}

static void* find(void* module, const char* name) {
    void* address = dlsym(module, name);
    if (address == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(2);
    }
    return address;
}

#define FIND(type, name)                                               \
    type name;                                                         \
    {                                                                  \
        void* address = find(module, "video_scene_subscriber_" #name); \
        memcpy(&name, &address, sizeof name);                          \
    }

int main(int argc, char** argv) {
    struct state state = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0, 0};
    void* module = argc == 4 ? dlopen(argv[1], RTLD_NOW) : NULL;
    /* As a program has it that was started by nobody in particular. */
    signal(SIGPIPE, SIG_DFL);
    if (module == NULL) {
        fprintf(stderr, "%s\n", argc == 4 ? dlerror() : "usage: any_program MODULE CHANNEL SCENES");
        return 2;
    }
    FIND(create_t, create)
    FIND(call_t, subscribe)
    FIND(call_t, unsubscribe)
    FIND(set_disconnect_t, set_on_disconnect_callback)
    FIND(set_message_t, set_on_message_arrived_callback)
    FIND(call_t, set_polygon_enabled)
    void* delete_address = find(module, "video_scene_subscriber_delete");
    call_t end;
    memcpy(&end, &delete_address, sizeof end);

    state.left = atoi(argv[3]);
    video_scene_subscriber_st* subscriber = create(atoi(argv[2]), SCENE_FORMAT_AREA, &state);
    set_polygon_enabled(subscriber);
    set_on_message_arrived_callback(subscriber, on_message);
    set_on_disconnect_callback(subscriber, on_disconnect);
    const int result = subscribe(subscriber);
    if (result == 0) {
        pthread_mutex_lock(&state.mutex);
        while (state.left > 0 && !state.disconnected) {
            pthread_cond_wait(&state.changed, &state.mutex);
        }
        pthread_mutex_unlock(&state.mutex);
        unsubscribe(subscriber);
    }
    end(subscriber);
    dlclose(module);
    if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) == NULL) {
        printf("the module is gone\n");
    }
    printf("result %d%s\n", result, state.disconnected ? ", disconnected" : "");
    if (signal(SIGPIPE, SIG_DFL) != SIG_DFL) {
        printf("broken pipes are handled otherwise than before\n");
    }
    return 0;
}
