/* kvbank.h - reads banks of sampled instruments, for players.
 *
 * A bank is one file. It holds programs; a program has regions, each for a range of keys and velocities; a
 * region has layers, which sound together; a layer plays a sample, and a sample has frames, perhaps with
 * loops. A note is played in these steps: kvb_find_program, kvb_find_region, kvb_get_layer,
 * kvb_get_sample, kvb_get_frames. The frames of a built bank are read where they lie in the mapped file,
 * without a copy.
 *
 * Kinds of files. "kvbank build" makes banks, whose waves are all raw. A source bank can be opened too:
 * its programs and sample headers are read in the same way, but most of its waves are compressed, and
 * those have no frames here (KVB_ERROR_COMPRESSED). Build a bank of it to play it.
 *
 * Layouts. In the plain layout a sample is played at many keys, so a player changes its pitch
 * (kvb_pitch_ratio). In the per-key layout a split program has one region and one sample for each key, at
 * the pitch of that key. The same calls serve both.
 *
 * Threads. A bank does not change after it was opened: any number of threads may use it at the same time,
 * without a lock. kvb_open and kvb_close themselves may be called from any thread; nobody may use a bank
 * while or after it is closed. No function but kvb_open and kvb_open_memory takes memory or a lock.
 * Functions that read a record of the file, or frames themselves, may have to wait for the disk: see
 * kvb_prefetch.
 *
 * Errors. Functions that return int return KVB_OK or an error; what they were to fill in is then
 * unchanged. Every length and position that a file states is compared with the bytes that are there, so a
 * damaged file gives KVB_ERROR_DAMAGED, from kvb_open or later from the function that reads the damaged
 * sample.
 *
 * A file that changes while it is open. kvbank never changes a bank in place: it makes a new file and
 * renames it, or removes the name. The bank that is open stays as it was in both cases. If another program
 * cuts the file short, the system ends a process that reads the missing part of a mapping (SIGBUS), and no
 * check can prevent that. Where this may happen (network shares, media that can be removed) open with
 * KVB_OPEN_COPY.
 *
 * Binary interface. Structures only grow, at their end; functions that fill one are told its size, so a
 * program and a library of different versions fit together. All strings are bytes as the file has them,
 * usually UTF-8, and end with a zero byte. Numbers in structures are those of the machine. */
#ifndef KVBANK_H
#define KVBANK_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KVB_API __attribute__((visibility("default")))
#else
#define KVB_API
#endif

/* The version of this header; kvb_version tells that of the library. */
#define KVB_VERSION_MAJOR 1
#define KVB_VERSION_MINOR 0
#define KVB_VERSION_PATCH 0

/* What functions return. New errors may come: treat an unknown number as an error. */
enum {
    KVB_OK = 0,
    KVB_ERROR_ARGUMENT = 1, /* a null pointer, an index that is not below its count, an unknown flag */
    KVB_ERROR_SYSTEM = 2,   /* the system refused to open, read or map the file; errno tells why */
    KVB_ERROR_NO_MEMORY = 3,
    KVB_ERROR_NOT_A_BANK = 4, /* the file is no bank, or no regular file */
    KVB_ERROR_UNFINISHED = 5, /* the bank is being built, or its build was interrupted */
    KVB_ERROR_DAMAGED = 6,    /* the file ends too early or contradicts itself */
    KVB_ERROR_NOT_FOUND = 7,  /* there is no such program, or no region for this key and velocity */
    KVB_ERROR_COMPRESSED = 8, /* the wave of a source bank is compressed: it has no frames to point to */
    KVB_ERROR_EXTERNAL = 9    /* the wave of a source bank lies in a file of its own */
};

/* Flags of kvb_open. */
enum {
    KVB_OPEN_MAP = 0, /* map the file: opening is fast, and frames come from the disk when they are touched */
    KVB_OPEN_COPY = 1 /* read the whole file into memory: slower, but no later change of it can do harm */
};

/* No sample, or no region yet. */
#define KVB_NONE 0xFFFFFFFFu

/* Bytes of a name, its zero byte included. */
#define KVB_NAME_SIZE 256

/* An open bank. */
typedef struct kvb_bank kvb_bank;

enum { KVB_KIND_BUILT = 1, KVB_KIND_SOURCE = 2 };

/* What a file says about itself. */
typedef struct kvb_bank_info {
    char name[KVB_NAME_SIZE];
    char description[KVB_NAME_SIZE];
    uint8_t identity[16];   /* differs for each file ever made */
    uint32_t kind;          /* KVB_KIND_BUILT or KVB_KIND_SOURCE */
    uint32_t rate;          /* of all samples, in Hz; 0 in a source bank */
    uint32_t per_key;       /* 1 in the per-key layout, else 0 */
    uint32_t program_count; /* programs are 0 to program_count - 1, in the order of the file */
    uint32_t sample_count;  /* samples are 0 to sample_count - 1 */
} kvb_bank_info;

typedef struct kvb_program {
    char name[KVB_NAME_SIZE];
    uint32_t bank;         /* number of the bank it is in; banks that were imported have MIDI's numbers */
    uint32_t number;       /* its own number there, from 0 */
    uint32_t split;        /* 1: the per-key layout has a region for each of its keys; else 0 */
    uint32_t first_region; /* its regions are first_region to first_region + region_count - 1 */
    uint32_t region_count;
} kvb_program;

/* The keys and velocities that make it sound, the ends included. MIDI's are 0 to 127; a high key of 255 is
 * one that nobody has limited. Regions of a program may overlap: all that fit a note sound together. */
typedef struct kvb_region {
    char name[KVB_NAME_SIZE];
    int32_t low_key;
    int32_t high_key;
    int32_t low_velocity;
    int32_t high_velocity;
    uint32_t program;     /* the program it belongs to */
    uint32_t layer_count; /* its layers are 0 to layer_count - 1 */
} kvb_region;

typedef struct kvb_layer {
    uint32_t sample;    /* the sample it plays, or KVB_NONE */
    uint32_t values[4]; /* stored with the layer; this library gives them no meaning */
} kvb_layer;

enum { KVB_WAVE_RAW = 1, KVB_WAVE_COMPRESSED = 2, KVB_WAVE_EXTERNAL = 3 };

typedef struct kvb_sample {
    char name[KVB_NAME_SIZE];
    uint32_t id;           /* its number in the file's records, as kvbank's messages give it */
    uint32_t rate;         /* Hz */
    uint32_t bits;         /* of one sample of one channel: 16 or 24, rarely 8 or 32 */
    uint32_t is_float;     /* 1: these bits are floating point; else 0: signed integers */
    uint32_t channels;     /* they follow each other within a frame, left first */
    uint32_t frame_bytes;  /* bits / 8 * channels; numbers are little-endian and packed, 24 bits in 3 bytes */
    uint32_t root_key;     /* with fine_tune the pitch at which the wave plays unchanged */
    int32_t fine_tune;     /* cents above root_key, -49 to 50 */
    uint32_t loop_count;   /* loops are 0 to loop_count - 1 */
    uint32_t encoding;     /* KVB_WAVE_RAW, KVB_WAVE_COMPRESSED or KVB_WAVE_EXTERNAL */
    uint64_t frames;       /* as the record states; kvb_get_frames checks that they are there */
    uint64_t wave_bytes;   /* of the wave when it is expanded */
    uint64_t stored_bytes; /* of the wave in the file: wave_bytes when it is raw, 0 when it is external */
    uint64_t file_offset;  /* of the stored wave, in bytes; a multiple of 512 in a built bank */
} kvb_sample;

/* Frames start to end sound again and again, the frame at end included. */
typedef struct kvb_loop {
    uint32_t start;
    uint32_t end;
    uint32_t play_count; /* as stored; 0 is without end */
    uint32_t cue_id;     /* as stored */
} kvb_loop;

/* "1.0.0": the version of the library that runs. A text of the library's own. */
KVB_API const char* kvb_version(void);

/* What an error means: one English sentence without its full stop, never null. A text of the library's
 * own. */
KVB_API const char* kvb_error_text(int error);

/* Opens a bank for reading and gives it in *bank; kvb_close ends it. Programs, regions and layers are read
 * and checked here; samples are read when they are asked for.
 *   path:  of the file, in the encoding of the system
 *   flags: KVB_OPEN_MAP or KVB_OPEN_COPY
 * The file may be renamed, replaced or removed while it is open. */
KVB_API int kvb_open(const char* path, unsigned flags, kvb_bank** bank);

/* The same for a bank that is in memory. The bytes stay the caller's; they must not change or go before
 * kvb_close. Frames are aligned as well as the bytes are. */
KVB_API int kvb_open_memory(const void* bytes, size_t size, kvb_bank** bank);

/* Ends a bank and all pointers into it. Null is allowed. */
KVB_API void kvb_close(kvb_bank* bank);

/* The kvb_get functions fill a structure of the caller's; size is sizeof of that structure, as the caller
 * knows it. A larger structure than the library's has zeros at its end, a smaller one is filled as far as
 * it goes. */

KVB_API int kvb_get_bank(const kvb_bank* bank, kvb_bank_info* info, size_t size);

KVB_API int kvb_get_program(const kvb_bank* bank, uint32_t program, kvb_program* info, size_t size);

/* Finds the first program with this number in the first bank with that number. */
KVB_API int kvb_find_program(const kvb_bank* bank, uint32_t bank_number, uint32_t number, uint32_t* program);

KVB_API int kvb_get_region(const kvb_bank* bank, uint32_t region, kvb_region* info, size_t size);

/* Finds a region of the program that sounds for this key and velocity, or tells KVB_ERROR_NOT_FOUND.
 *   after: KVB_NONE for the first such region, the one found before for the next
 * Takes a time in proportion to the regions of the program, which are in memory: it never waits for the
 * disk. */
KVB_API int kvb_find_region(const kvb_bank* bank, uint32_t program, int key, int velocity, uint32_t after,
                            uint32_t* region);

/* Looks into memory alone, as kvb_find_region. */
KVB_API int kvb_get_layer(const kvb_bank* bank, uint32_t region, uint32_t layer, kvb_layer* info,
                          size_t size);

/* Reads the sample's record in the file. */
KVB_API int kvb_get_sample(const kvb_bank* bank, uint32_t sample, kvb_sample* info, size_t size);

/* Reads one loop of the sample's record. The record's loop may lie outside its frames: hold it against
 * them. */
KVB_API int kvb_get_loop(const kvb_bank* bank, uint32_t sample, uint32_t loop, kvb_loop* info, size_t size);

/* Where the frames of a raw wave lie, and how many there are. They are good until kvb_close. In a built
 * bank that was opened by its path they are aligned to 512 bytes; in a source bank they are not aligned at
 * all. */
KVB_API int kvb_get_frames(const kvb_bank* bank, uint32_t sample, const void** frames, uint64_t* count);

/* Where the stored bytes of a wave lie, raw or compressed, for programs that expand it themselves. */
KVB_API int kvb_get_stored(const kvb_bank* bank, uint32_t sample, const void** bytes, uint64_t* size);

/* Asks the system to read frames of a raw wave from the disk before they are needed, and does not wait for
 * them. A thread that must not wait should find its frames read already: call this, or touch the frames, in
 * another thread; the first second of each sample that may come next is a good choice. Frames that are not
 * there are left out. It is a hint: KVB_OK does not say that the frames are in memory. */
KVB_API int kvb_prefetch(const kvb_bank* bank, uint32_t sample, uint64_t first_frame, uint64_t count);

/* Frames of the sample for each frame played, when a key is played at the sample's own rate; for another
 * rate multiply it by sample->rate / played rate. Formula: 2 ^ ((100 * (key - root_key) - fine_tune) /
 * 1200). */
KVB_API double kvb_pitch_ratio(const kvb_sample* sample, int key);

#ifdef __cplusplus
}
#endif

#endif
