/* FIR filter on 16-bit samples with Q15 coefficients, as a DSP core runs it. */
#include <stdio.h>

#define TAPS 32
#define SAMPLES 1024

static volatile unsigned seed_source = 12345u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static short coeff[TAPS];
static short input[SAMPLES + TAPS];
static short output[SAMPLES];

static void fir(const short* x, const short* h, short* y, int n, int taps) {
  int i, k;
  for (i = 0; i < n; i++) {
    int acc = 0;
    for (k = 0; k < taps; k++) acc += x[i + k] * h[k];
    y[i] = (short)(acc >> 15);
  }
}

int main(void) {
  unsigned sum = 0;
  int i, pass;
  rng = seed_source;
  for (i = 0; i < TAPS; i++) coeff[i] = (short)((int)(next_rand() & 0x0fff) - 0x0800);
  for (i = 0; i < SAMPLES + TAPS; i++) input[i] = (short)((int)next_rand() - 0x4000);
  for (pass = 0; pass < 2; pass++) {
    fir(input, coeff, output, SAMPLES, TAPS);
    for (i = 0; i < SAMPLES; i++) {
      sum = sum * 31u + (unsigned)(output[i] & 0xffff);
      input[i] = output[i];
    }
  }
  printf("fir %u\n", sum);
  return 0;
}
