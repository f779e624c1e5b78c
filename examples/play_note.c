/* play_note.c - plays one note of a built bank into a WAV file: 16 bits, stereo, at the bank's rate.
 *
 *     play_note BANK BANK-NUMBER PROGRAM KEY VELOCITY SECONDS OUT.wav
 *
 * Compile it with: cc play_note.c $(pkg-config --cflags --libs kvbank) -lm -o play_note The pitch is
 * changed by linear interpolation, which is short to write; a real player has a better filter. */
#include <kvbank.h>
#include <stdio.h>
#include <stdlib.h>

#define ONE 32768 /* the position in a wave, in parts of a frame */

/* The upper 16 bits of one channel of a frame; a mono frame is on both sides. */
static int sample_at(const kvb_sample* sample, const unsigned char* frames, uint64_t frame, uint32_t side) {
    const uint32_t width = sample->bits / 8, channel = side < sample->channels ? side : 0;
    const unsigned char* p = frames + frame * sample->frame_bytes + channel * width + width - 2;
    const int value = p[0] | p[1] << 8;
    return value < 32768 ? value : value - 65536;
}

/* The frame that sounds at a position: the loop is repeated, and behind the last frame there is none. */
static int frame_at(uint64_t position, const kvb_loop* loop, uint64_t count, uint64_t* frame) {
    if (loop != NULL && position > loop->end)
        position = loop->start + (position - loop->start) % (loop->end - loop->start + 1);
    *frame = position;
    return position < count;
}

static int value_at(const kvb_sample* s, const unsigned char* frames, const kvb_loop* loop, uint64_t count,
                    uint64_t position, uint32_t side) {
    uint64_t frame;
    return frame_at(position, loop, count, &frame) ? sample_at(s, frames, frame, side) : 0;
}

/* Adds a sample, played at a key, to the output. */
static int add_sample(const kvb_bank* bank, uint32_t number, int key, long* out, uint32_t out_frames) {
    kvb_sample sample;
    kvb_loop found;
    const kvb_loop* loop = NULL;
    const void* frames;
    uint64_t count, position = 0, step;
    int error = kvb_get_sample(bank, number, &sample, sizeof sample);
    if (error == KVB_OK) error = kvb_get_frames(bank, number, &frames, &count);
    if (error != KVB_OK) return error;
    if (sample.is_float || (sample.bits != 16 && sample.bits != 24)) return KVB_ERROR_NOT_FOUND;
    if (sample.loop_count > 0 && kvb_get_loop(bank, number, 0, &found, sizeof found) == KVB_OK &&
        found.start <= found.end && found.end < count)
        loop = &found;
    step = (uint64_t)(kvb_pitch_ratio(&sample, key) * ONE);
    for (uint32_t i = 0; i < out_frames; ++i, position += step)
        for (uint32_t side = 0; side < 2; ++side) {
            const long long a = value_at(&sample, frames, loop, count, position / ONE, side);
            const long long b = value_at(&sample, frames, loop, count, position / ONE + 1, side);
            out[2 * i + side] += (long)(a + (b - a) * (long long)(position % ONE) / ONE);
        }
    return KVB_OK;
}

/* Adds all layers of all regions that sound; a note that none is for is an error, not silence. */
static int add_note(const kvb_bank* bank, uint32_t program, int key, int velocity, long* out,
                    uint32_t frames) {
    uint32_t region = KVB_NONE;
    int error;
    while ((error = kvb_find_region(bank, program, key, velocity, region, &region)) == KVB_OK) {
        kvb_layer layer;
        for (uint32_t i = 0; kvb_get_layer(bank, region, i, &layer, sizeof layer) == KVB_OK; ++i)
            if (layer.sample != KVB_NONE &&
                (error = add_sample(bank, layer.sample, key, out, frames)) != KVB_OK)
                return error;
    }
    return error == KVB_ERROR_NOT_FOUND && region != KVB_NONE ? KVB_OK : error;
}

static void put(FILE* file, unsigned long value, int bytes) {
    for (; bytes > 0; --bytes, value >>= 8) putc((int)(value & 255), file);
}

static int write_wav(const char* path, uint32_t rate, const long* out, uint32_t frames) {
    FILE* file = fopen(path, "wb");
    if (file == NULL) return 0;
    fputs("RIFF", file), put(file, 36 + 4ul * frames, 4), fputs("WAVEfmt ", file), put(file, 16, 4);
    put(file, 1, 2), put(file, 2, 2), put(file, rate, 4), put(file, 4ul * rate, 4), put(file, 4, 2);
    put(file, 16, 2), fputs("data", file), put(file, 4ul * frames, 4);
    for (uint32_t i = 0; i < 2 * frames; ++i) {
        const long value = out[i] < -32768 ? -32768 : out[i] > 32767 ? 32767 : out[i];
        put(file, (unsigned long)value, 2);
    }
    return fclose(file) == 0;
}

int main(int argc, char** argv) {
    kvb_bank* bank = NULL;
    kvb_bank_info info;
    uint32_t program;
    int error;
    if (argc != 8)
        return fprintf(stderr, "usage: play_note BANK NUMBER PROGRAM KEY VELOCITY SECONDS OUT\n"), 2;
    if ((error = kvb_open(argv[1], KVB_OPEN_MAP, &bank)) == KVB_OK &&
        (error = kvb_get_bank(bank, &info, sizeof info)) == KVB_OK &&
        (error = kvb_find_program(bank, (uint32_t)atol(argv[2]), (uint32_t)atol(argv[3]), &program)) ==
            KVB_OK) {
        const uint32_t frames = (uint32_t)(atof(argv[6]) * info.rate);
        long* out = calloc(2 * (size_t)frames + 1, sizeof *out);
        error = out == NULL ? KVB_ERROR_NO_MEMORY
                            : add_note(bank, program, atoi(argv[4]), atoi(argv[5]), out, frames);
        if (error == KVB_OK && !write_wav(argv[7], info.rate, out, frames)) perror(argv[7]), error = 1;
        free(out);
    }
    if (error != KVB_OK) fprintf(stderr, "play_note: %s: %s\n", argv[1], kvb_error_text(error));
    kvb_close(bank);
    return error == KVB_OK ? 0 : 1;
}
