// The limit of the engine: libsoup as it comes, answering from memory what a folder holds.
//
// bareserver PORT FOLDER [CERTIFICATE KEY]
//
// GET /NAME answers the file NAME of the folder, whatever the query; POST /discard drops the body
// as it comes; GET /wait is answered when somebody asks for /wake.

#include <libsoup/soup.h>
#include <stdio.h>
#include <stdlib.h>

static GHashTable* files;
static GList* waiting;

static void answer(SoupMessage* message, const char* type, const char* data, gsize size) {
    soup_message_set_status(message, SOUP_STATUS_OK);
    soup_message_set_response(message, type, SOUP_MEMORY_STATIC, data, size);
}

static void on_waiting_finished(SoupMessage* message) {
    waiting = g_list_remove(waiting, message);
}

static void wake(SoupServer* server) {
    for (GList* entry = waiting; entry; entry = entry->next) {
        answer(entry->data, "application/json", "[]\n", 3);
        soup_server_unpause_message(server, entry->data);
    }
}

static void on_request(SoupServer* server, SoupMessage* message, const char* path,
                       GHashTable* query, SoupClientContext* client, gpointer data) {
    (void)query, (void)client, (void)data;
    GBytes* file = g_hash_table_lookup(files, path + 1);
    if (file) {
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
        answer(message, "text/plain", "ok\n", 3);
    }
}

static void on_discard(SoupServer* server, SoupMessage* message, const char* path,
                       GHashTable* query, SoupClientContext* client, gpointer data) {
    (void)server, (void)path, (void)query, (void)client, (void)data;
    soup_message_body_set_accumulate(message->request_body, FALSE);
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
    soup_server_add_handler(server, "/discard", on_request, NULL, NULL);
    soup_server_add_early_handler(server, "/discard", on_discard, NULL, NULL);
    GError* error = NULL;
    if (!soup_server_listen_local(server, (guint)atoi(argv[1]),
                                  certificate ? SOUP_SERVER_LISTEN_HTTPS : 0, &error)) {
        fprintf(stderr, "%s\n", error->message);
        return 1;
    }
    g_main_loop_run(g_main_loop_new(NULL, FALSE));
}
