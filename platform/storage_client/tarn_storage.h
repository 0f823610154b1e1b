#ifndef TARN_STORAGE_H
#define TARN_STORAGE_H

/*
 * Client of a loop storage server, for C and C++.
 *
 * A server keeps tracks: rings of a fixed size into which one writer puts frames, each with a time
 * point, for ever, while any number of readers read. When a ring is full its oldest frames go.
 *
 * Units       Sizes are bytes. Time points are signed 64-bit numbers that the writer chooses and
 *             that grow from frame to frame (nanoseconds, by custom). Time-outs are milliseconds.
 * Errors      Every call that can fail takes an error object, which it overwrites: type 0 after a
 *             success. After a failure the result is -1, NULL or 0 as the function says, and the
 *             message is a whole sentence for a log. The error may not be NULL.
 * Time        No call waits for ever. Without a time-out of its own a call ends after the
 *             connection's, 5 s by default.
 * Ownership   What a ..._create function returns is destroyed by the caller with the matching
 *             ..._destroy, which takes NULL too. Texts and records that a list hands out belong to
 *             the list.
 * Threads     Different objects may be used on different threads at once; one object, and whatever
 *             was made from one connection, by one thread at a time.
 * Freshness   What a track is (its size, time points and properties) may be told as it was up to
 *             5 ms ago: who asks for track after track of a list is answered from few exchanges.
 *             What the same connection changes is seen at once.
 * Connection  After an error of type TARN_STORAGE_ERROR_CONNECTION, TARN_STORAGE_ERROR_TIMEOUT or
 *             TARN_STORAGE_ERROR_EVICTED a connection is of no further use: destroy it. A server
 *             that has let go of a connection on which nothing was asked for a while is connected
 *             to anew by the next question. Over TCP a server that gives no sign of life for twice
 *             the connection's time-out counts as gone, and so does a client for its server.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tarn_storage_error tarn_storage_error;
typedef struct tarn_storage_connection tarn_storage_connection;
typedef struct tarn_storage_worker_list tarn_storage_worker_list;
typedef struct tarn_storage_worker_info_list tarn_storage_worker_info_list;
typedef struct tarn_storage_track_list tarn_storage_track_list;
typedef struct tarn_storage_property_list tarn_storage_property_list;

/* ---- library and errors --------------------------------------------------------------------- */

void tarn_storage_get_version(unsigned* major, unsigned* minor, unsigned* patch);

enum tarn_storage_error_type {
    TARN_STORAGE_OK = 0,
    TARN_STORAGE_ERROR_CONNECTION = 1, /* nobody there, or gone */
    TARN_STORAGE_ERROR_TIMEOUT = 2,
    TARN_STORAGE_ERROR_PROTOCOL = 3,  /* the peer is no loop storage server, or of another time */
    TARN_STORAGE_ERROR_ARGUMENT = 4,  /* refused before anything was done */
    TARN_STORAGE_ERROR_NOT_FOUND = 5, /* no such track, ticket or property */
    TARN_STORAGE_ERROR_NO_SPACE = 6,
    TARN_STORAGE_ERROR_IN_USE = 7,      /* a second writer, or a track that is read or written */
    TARN_STORAGE_ERROR_OVERTAKEN = 8,   /* the ring has gone over what the reader wanted */
    TARN_STORAGE_ERROR_SERVER = 9,      /* the server failed; its message says how */
    TARN_STORAGE_ERROR_DAMAGED = 10,    /* a frame's bytes are not those that were written */
    TARN_STORAGE_ERROR_UNREADABLE = 11, /* the disk does not give a frame that is there */
    TARN_STORAGE_ERROR_EVICTED = 12     /* an operator has ended what this worker did */
};

tarn_storage_error* tarn_storage_error_create(void);
void tarn_storage_error_destroy(tarn_storage_error* error);
int tarn_storage_error_get_type(const tarn_storage_error* error);
/* Never NULL; empty after a success. Valid until the next call with this error. */
const char* tarn_storage_error_get_message(const tarn_storage_error* error);

/* ---- connections ---------------------------------------------------------------------------- */

/* Connects and greets. `address` is an IPv4 or IPv6 address or a host's name. `timeout_ms` bounds
 * the connecting and every later call; 0 is the default of 5000. NULL on failure. */
tarn_storage_connection* tarn_storage_connection_create_tcp(const char* address, uint16_t port,
                                                            unsigned timeout_ms,
                                                            tarn_storage_error* error);
tarn_storage_connection* tarn_storage_connection_create_uds(const char* path,
                                                            tarn_storage_error* error);
/* The same over TCP, encrypted. `certificate_file` holds the client's secret key and certificate
 * (PEM; readable by its owner alone; read with each connecting); `fingerprint` is the SHA-256 of
 * the server's certificate in hexadecimal. A server with another one is not spoken to. */
tarn_storage_connection* tarn_storage_connection_create_tls(const char* address, uint16_t port,
                                                            const char* certificate_file,
                                                            const char* fingerprint,
                                                            unsigned timeout_ms,
                                                            tarn_storage_error* error);
/* What ..._create_tcp uses from now on, in the whole process: the client's certificate, and the
 * fingerprint of one server. Until then TARN_STORAGE_CERTIFICATE names the file of the certificate,
 * and TARN_STORAGE_SERVERS is the fingerprint of every server, or names a file with a line
 * "HOST:PORT FINGERPRINT" for each. Where there is any of these no connection over TCP goes
 * without: a server whose fingerprint is not known is refused with ARGUMENT. 0, or -1 on failure.
 * Any thread. */
int tarn_storage_set_certificate(const char* file, tarn_storage_error* error);
int tarn_storage_set_server(const char* address, uint16_t port, const char* fingerprint,
                            tarn_storage_error* error);
void tarn_storage_connection_destroy(tarn_storage_connection* connection);
/* Ends the call that another thread has under way on this connection, and every later one, with an
 * error of type TARN_STORAGE_ERROR_CONNECTION. What the server has taken on goes on there. Of all
 * functions the only one that may be called while another thread uses the connection; who calls it
 * sees to it that nobody destroys the connection meanwhile. */
void tarn_storage_connection_interrupt(tarn_storage_connection* connection);

/* ---- the server ----------------------------------------------------------------------------- */

/* Bytes that tracks may still take; -1 on failure. */
int64_t tarn_storage_get_remaining_space(tarn_storage_connection* connection,
                                         tarn_storage_error* error);

/* The workers: clients that are attached to a track to read or to write it. */
tarn_storage_worker_list* tarn_storage_worker_list_create(tarn_storage_connection* connection,
                                                          tarn_storage_error* error);
void tarn_storage_worker_list_destroy(tarn_storage_worker_list* list);
size_t tarn_storage_worker_list_get_count(const tarn_storage_worker_list* list);
int64_t tarn_storage_worker_list_get_id(const tarn_storage_worker_list* list, size_t index);

enum tarn_storage_worker_kind {
    TARN_STORAGE_WORKER_OTHER = 0,
    TARN_STORAGE_WORKER_READER = 1,
    TARN_STORAGE_WORKER_WRITER = 2
};

typedef struct tarn_storage_worker_info {
    int kind;
    int64_t track_id;
    char name[21]; /* at most 20 characters and the zero */
} tarn_storage_worker_info;

/* The records of the workers of `workers`; one that has gone meanwhile has none. */
tarn_storage_worker_info_list* tarn_storage_worker_info_list_create(
    tarn_storage_connection* connection, const tarn_storage_worker_list* workers,
    tarn_storage_error* error);
void tarn_storage_worker_info_list_destroy(tarn_storage_worker_info_list* list);
size_t tarn_storage_worker_info_list_get_count(const tarn_storage_worker_info_list* list);
/* NULL for an index outside the list. */
const tarn_storage_worker_info* tarn_storage_worker_info_list_get(
    const tarn_storage_worker_info_list* list, size_t index);
/* The worker's id; -1 for an index outside the list. */
int64_t tarn_storage_worker_info_list_get_id(const tarn_storage_worker_info_list* list,
                                             size_t index);
/* Where it is: "192.168.1.5:40312", or "process 1234" on the server's own machine. Empty when the
 * server does not know; NULL for an index outside the list. */
const char* tarn_storage_worker_info_list_get_address(const tarn_storage_worker_info_list* list,
                                                      size_t index);

/* Ends what the worker of that id does, whatever has become of it: the track is free for another
 * one. The worker's own next call fails with EVICTED; a frame that it had not sent to its end is
 * not in the track. A reader that takes nothing from the server may be attached for some seconds
 * more. 0, or -1 on failure: NOT_FOUND when there is no such worker. */
int tarn_storage_worker_evict(tarn_storage_connection* connection, int64_t worker_id,
                              tarn_storage_error* error);

/* ---- tracks --------------------------------------------------------------------------------- */

/* The ids of all tracks, ascending. */
tarn_storage_track_list* tarn_storage_track_list_create(tarn_storage_connection* connection,
                                                        tarn_storage_error* error);
void tarn_storage_track_list_destroy(tarn_storage_track_list* list);
size_t tarn_storage_track_list_get_count(const tarn_storage_track_list* list);
int64_t tarn_storage_track_list_get_id(const tarn_storage_track_list* list, size_t index);

/* The long operations. The server runs each under a ticket of its own and the call waits for its
 * end, at most `timeout_ms` (0: 10 minutes). `ticket`, unless NULL, is set as soon as the server
 * has taken the operation on (0 before): after a time-out the operation goes on, and
 * tarn_storage_ticket_get_info and tarn_storage_ticket_wait follow it on another connection. */

/* A new, empty track with room for `size` bytes. Its id, 0 or more; -1 on failure. */
int64_t tarn_storage_track_create(tarn_storage_connection* connection, uint64_t size,
                                  unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error);
/* The size reached, which can be another than the one asked for (a ring that holds frames shrinks
 * only as far as they allow); -1 on failure. */
int64_t tarn_storage_track_resize(tarn_storage_connection* connection, int64_t track_id,
                                  uint64_t size, unsigned timeout_ms, int64_t* ticket,
                                  tarn_storage_error* error);
/* 0, or -1 on failure: a track with workers stays. */
int tarn_storage_track_destroy(tarn_storage_connection* connection, int64_t track_id,
                               unsigned timeout_ms, int64_t* ticket, tarn_storage_error* error);

/* Forgets every frame; the size stays. 0, or -1 on failure. */
int tarn_storage_track_clear(tarn_storage_connection* connection, int64_t track_id,
                             tarn_storage_error* error);

int64_t tarn_storage_track_get_size(tarn_storage_connection* connection, int64_t track_id,
                                    tarn_storage_error* error);
/* The time points of the oldest and the newest frame; -1 for an empty track, and on failure. */
int64_t tarn_storage_track_get_beginning(tarn_storage_connection* connection, int64_t track_id,
                                         tarn_storage_error* error);
int64_t tarn_storage_track_get_end(tarn_storage_connection* connection, int64_t track_id,
                                   tarn_storage_error* error);

/* Why nothing is written to the track any more: a text for people, empty while all is well. One
 * whose disk has failed can be read, and has to be cleared before it is written again; one that
 * could not be opened can only be destroyed. As with snprintf, at most `size` bytes are put into
 * `text`, the zero among them, and the result is the length of the whole text; -1 on failure. */
int64_t tarn_storage_track_get_failure(tarn_storage_connection* connection, int64_t track_id,
                                       char* text, size_t size, tarn_storage_error* error);
/* How many frames were found damaged when they were read, since the server started; -1 on failure.
 */
int64_t tarn_storage_track_get_damaged_frames(tarn_storage_connection* connection, int64_t track_id,
                                              tarn_storage_error* error);
/* How often an operation on the track's files has failed since the server started; -1 on failure.
 */
int64_t tarn_storage_track_get_errors(tarn_storage_connection* connection, int64_t track_id,
                                      tarn_storage_error* error);

/* ---- properties ----------------------------------------------------------------------------- */

/* Names and texts that clients keep with a track, in ascending byte order of the names. A list is
 * either made by the caller or got from a track. */
tarn_storage_property_list* tarn_storage_property_list_create(void);
void tarn_storage_property_list_destroy(tarn_storage_property_list* list);
/* Adds, or replaces the value of that name. 0, or -1 for a NULL text. */
int tarn_storage_property_list_set(tarn_storage_property_list* list, const char* name,
                                   const char* value);
size_t tarn_storage_property_list_get_count(const tarn_storage_property_list* list);
/* NULL for an index outside the list. */
const char* tarn_storage_property_list_get_name(const tarn_storage_property_list* list,
                                                size_t index);
const char* tarn_storage_property_list_get_value(const tarn_storage_property_list* list,
                                                 size_t index);

/* NULL on failure. */
tarn_storage_property_list* tarn_storage_track_get_properties(tarn_storage_connection* connection,
                                                              int64_t track_id,
                                                              tarn_storage_error* error);
/* Sets these and leaves the others. 0, or -1 on failure, when none is set. */
int tarn_storage_track_set_properties(tarn_storage_connection* connection, int64_t track_id,
                                      const tarn_storage_property_list* properties,
                                      tarn_storage_error* error);
/* Removes these names, of which each must be there. 0, or -1 on failure, when none is removed. */
int tarn_storage_track_remove_properties(tarn_storage_connection* connection, int64_t track_id,
                                         const char* const* names, size_t count,
                                         tarn_storage_error* error);

/* ---- tickets -------------------------------------------------------------------------------- */

enum tarn_storage_ticket_state {
    TARN_STORAGE_TICKET_QUEUED = 0,
    TARN_STORAGE_TICKET_FINISHED = 1,
    TARN_STORAGE_TICKET_FAILED = 2,
    TARN_STORAGE_TICKET_CANCELLED = 3,
    TARN_STORAGE_TICKET_RUNNING = 4
};

/* The state; -1 on failure. The server forgets a ticket some time after its operation's end. */
int tarn_storage_ticket_get_info(tarn_storage_connection* connection, int64_t ticket,
                                 tarn_storage_error* error);

/* Waits for the end of an operation, at most `timeout_ms` (0: 10 minutes), as the function does
 * that began it: after that one's time-out this goes on waiting, also on another connection. The
 * number of the track that was created or destroyed, or the size reached; -1 on failure. */
int64_t tarn_storage_ticket_wait(tarn_storage_connection* connection, int64_t ticket,
                                 unsigned timeout_ms, tarn_storage_error* error);

/* Over a Unix socket frames do not go through the socket: writers put them into memory that they
 * share with the server, readers read the track's file. Nothing here changes by that. */

/* ---- writing -------------------------------------------------------------------------------- */

/* A writer or a reader uses its connection alone: every other call on it is refused, from its
 * creation on, also after it was destroyed. Destroy it first, then the connection, which is what
 * ends the work for the server. `worker_name` is what lists of workers show: of a longer name the
 * first 20 bytes. */
typedef struct tarn_storage_writer tarn_storage_writer;

/* One piece of a frame's bytes. */
typedef struct tarn_storage_part {
    const void* data;
    size_t size;
} tarn_storage_part;

/* Attaches as the writer of a track, which can have one at a time. NULL on failure: IN_USE for a
 * track with a writer. */
tarn_storage_writer* tarn_storage_writer_create(tarn_storage_connection* connection,
                                                int64_t track_id, const char* worker_name,
                                                tarn_storage_error* error);
/* Another one may attach when it returns; a server that does not answer is waited for 200 ms. Flush
 * before: of frames that are still on their way nobody tells how they fared. */
void tarn_storage_writer_destroy(tarn_storage_writer* writer);
/* The time point of the track's newest frame when the writer attached; -1 when it was empty. */
int64_t tarn_storage_writer_get_end_at_start(const tarn_storage_writer* writer);

/* Sends a frame, whose time point comes after that of the frame before, and returns without waiting
 * for the server's acknowledgement unless several frames lack theirs. So what goes wrong at the
 * server is told by a later call, and the frames from then on are not in the track; the writer is
 * of no further use. A time point that does not grow and a frame that is larger than the ring are
 * refused at once (ARGUMENT), and the writer goes on.
 * The bytes are the caller's again when the call returns. 0, or -1 on failure. */
int tarn_storage_writer_write(tarn_storage_writer* writer, int64_t time_point, const void* data,
                              size_t size, tarn_storage_error* error);
/* The same for a frame that lies in several pieces, put together in order. */
int tarn_storage_writer_write_parts(tarn_storage_writer* writer, int64_t time_point,
                                    const tarn_storage_part* parts, size_t count,
                                    tarn_storage_error* error);
/* Waits until the server has acknowledged every frame: they are in the track and readers see them;
 * a server that is killed keeps them. 0, or -1 on failure. */
int tarn_storage_writer_flush(tarn_storage_writer* writer, tarn_storage_error* error);
/* The same, and the disk has them: they are there after the machine has lost power too. */
int tarn_storage_writer_flush_to_disk(tarn_storage_writer* writer, tarn_storage_error* error);
/* Not 0: from now on the server acknowledges a frame only when the disk has it. What was written
 * when a flush returns is on the disk then, and of what was not flushed no more is missing after a
 * power cut than the few frames that a writer may be ahead. Costs throughput, since a disk takes
 * only so many syncs in a second; those who wait at the same time share them. */
void tarn_storage_writer_set_durable(tarn_storage_writer* writer, int durable);

/* ---- reading -------------------------------------------------------------------------------- */

typedef struct tarn_storage_reader tarn_storage_reader;

enum tarn_storage_start {
    TARN_STORAGE_START_OLDEST = 1,
    TARN_STORAGE_START_LIVE = 2,      /* the first frame that is written from now on */
    TARN_STORAGE_START_TIME_POINT = 3 /* the first frame of this time point or a later one */
};

/* Attaches as a reader. `time_point` counts with TARN_STORAGE_START_TIME_POINT only. NULL on
 * failure. */
tarn_storage_reader* tarn_storage_reader_create(tarn_storage_connection* connection,
                                                int64_t track_id, const char* worker_name,
                                                int start, int64_t time_point,
                                                tarn_storage_error* error);
void tarn_storage_reader_destroy(tarn_storage_reader* reader);

/* A frame as it was written. */
typedef struct tarn_storage_frame {
    int64_t time_point;
    const void* data; /* the reader's, until its next call */
    size_t size;
} tarn_storage_frame;

/* The next frame, for which it waits as long as `timeout_ms` says (0: not at all): at the live edge
 * it comes with the writer's next one. Results:
 *    1   a frame
 *    0   none in time; ask again
 *   -1   a failure. After OVERTAKEN the reader goes on: the next call gives the oldest frame that
 *        was there when the server noticed, whose time point
 *        tarn_storage_reader_get_oldest_time_point tells. After DAMAGED and UNREADABLE too: with
 *        the frame after the one that is lost.
 * Frames are asked for ahead, a few at a time, so what comes may be that much older than what the
 * track holds by now. */
int tarn_storage_reader_read(tarn_storage_reader* reader, unsigned timeout_ms,
                             tarn_storage_frame* frame, tarn_storage_error* error);
/* Of the last OVERTAKEN; -1 before one, and when the track was empty then. */
int64_t tarn_storage_reader_get_oldest_time_point(const tarn_storage_reader* reader);
/* Of the frame that the last UNREADABLE, or DAMAGED, was about; -1 before one. */
int64_t tarn_storage_reader_get_unreadable_time_point(const tarn_storage_reader* reader);
/* The time point of the track's newest frame when the reader attached; -1 when it was empty. */
int64_t tarn_storage_reader_get_end_at_start(const tarn_storage_reader* reader);

#ifdef __cplusplus
}
#endif

#endif
