// SPDX-License-Identifier: MIT

// The limit of the engine: libsoup as it comes, answering from memory what a folder holds.
//
// bareserver PORT FOLDER [CERTIFICATE KEY]
//
// GET /NAME answers the file NAME of the folder, whatever the query, with its length; /chunked/NAME
// answers it in a chunk, on a later turn of the loop, as a server does that asks somebody else
// first. GET /wait is answered in a chunk when somebody asks for /wake. All else answers how many
// wait.

#include <libsoup/soup.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static GHashTable* files;
static GList* waiting;

static void answer(SoupMessage* message, const char* type, const char* data, gsize size) {
    soup_message_set_status(message, SOUP_STATUS_OK);
    soup_message_set_response(message, type, SOUP_MEMORY_STATIC, data, size);
}

// The message is paused.
static void answer_chunk(SoupServer* server, SoupMessage* message, const char* data, gsize size) {
    soup_message_set_status(message, SOUP_STATUS_OK);
    soup_message_headers_set_encoding(message->response_headers, SOUP_ENCODING_CHUNKED);
    soup_message_headers_set_content_type(message->response_headers, "application/json", NULL);
    soup_message_body_append(message->response_body, SOUP_MEMORY_STATIC, data, size);
    soup_message_body_complete(message->response_body);
    soup_server_unpause_message(server, message);
}

typedef struct {
    SoupServer* server;
    SoupMessage* message; // null when its client has left
    GBytes* file;
} Later;

static void on_later_finished(SoupMessage* message, Later* later) {
    (void)message;
    later->message = NULL;
}

static gboolean answer_later(gpointer data) {
    Later* later = data;
    SoupMessage* message = later->message;
    if (message) {
        g_signal_handlers_disconnect_by_data(message, later);
        gsize size;
        const char* bytes = g_bytes_get_data(later->file, &size);
        answer_chunk(later->server, message, bytes, size);
    }
    g_free(later);
    return G_SOURCE_REMOVE;
}

static void answer_in_chunks(SoupServer* server, SoupMessage* message, GBytes* file) {
    Later* later = g_new(Later, 1);
    *later = (Later){server, message, file};
    g_signal_connect(message, "finished", G_CALLBACK(on_later_finished), later);
    soup_server_pause_message(server, message);
    g_idle_add_full(G_PRIORITY_DEFAULT, answer_later, later, NULL);
}

static void on_waiting_finished(SoupMessage* message) {
    waiting = g_list_remove(waiting, message);
}

static void wake(SoupServer* server) {
    for (GList* entry = waiting; entry; entry = entry->next)
        answer_chunk(server, entry->data, "[]\n", 3);
    g_list_free(waiting);
    waiting = NULL;
}

static void on_request(SoupServer* server, SoupMessage* message, const char* path,
                       GHashTable* query, SoupClientContext* client, gpointer data) {
    (void)query, (void)client, (void)data;
    const char* chunked = "/chunked/";
    const gboolean in_chunks = g_str_has_prefix(path, chunked);
    GBytes* file = g_hash_table_lookup(files, path + (in_chunks ? strlen(chunked) : 1));
    if (file && in_chunks) {
        answer_in_chunks(server, message, file);
    } else if (file) {
        gsize size;
        const char* bytes = g_bytes_get_data(file, &size);
        answer(message, "application/octet-stream", bytes, size);
    } else if (g_str_equal(path, "/wait")) {
        waiting = g_list_prepend(waiting, message);
        g_signal_connect(message, "finished", G_CALLBACK(on_waiting_finished), NULL);
        soup_server_pause_message(server, message);
    } else {
        if (g_str_equal(path, "/wake"))
            wake(server);
        char* count = g_strdup_printf("%u\n", g_list_length(waiting));
        soup_message_set_status(message, SOUP_STATUS_OK);
        soup_message_set_response(message, "text/plain", SOUP_MEMORY_TAKE, count, strlen(count));
    }
}

static void load(const char* folder) {
    files = g_hash_table_new(g_str_hash, g_str_equal);
    GDir* dir = g_dir_open(folder, 0, NULL);
    for (const char* name; dir && (name = g_dir_read_name(dir));) {
        char* path = g_build_filename(folder, name, NULL);
        char* bytes;
        gsize size;
        if (g_file_get_contents(path, &bytes, &size, NULL))
            g_hash_table_insert(files, g_strdup(name), g_bytes_new_take(bytes, size));
    }
}

int main(int argc, char** argv) {
    if (argc != 3 && argc != 5)
        return 2;
    load(argv[2]);
    GTlsCertificate* certificate =
        argc == 5 ? g_tls_certificate_new_from_files(argv[3], argv[4], NULL) : NULL;
    SoupServer* server = soup_server_new("raw-paths", TRUE, "tls-certificate", certificate, NULL);
    soup_server_add_handler(server, "/", on_request, NULL, NULL);
    GError* error = NULL;
    if (!soup_server_listen_local(server, (guint)atoi(argv[1]),
                                  certificate ? SOUP_SERVER_LISTEN_HTTPS : 0, &error)) {
        fprintf(stderr, "%s\n", error->message);
        return 1;
    }
    g_main_loop_run(g_main_loop_new(NULL, FALSE));
}
