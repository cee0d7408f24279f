/* A small C module with one of each kind of symbol that a listing shows:
 * global, local and weak functions and data, common blocks, zero-filled
 * data, read-only data, and references to symbols defined elsewhere. */

extern int external_value;             /* undefined data */
extern void external_log(const char *); /* undefined function */
extern void optional_hook(void) __attribute__((weak)); /* weak undefined */

int counter = 5;                       /* global data, .data */
int shared_buffer[16];                 /* common block (built with -fcommon) */
char shared_flag;                      /* common block of size 1 */
int zeroed_total = 0;                  /* global .bss */
const char greeting[] = "hello, world"; /* global .rodata */
__attribute__((weak)) int tunable = 3; /* weak data */

static int table[4] = {2, 3, 5, 7};    /* local data */
static char scratch[64];               /* local .bss */

static __attribute__((noinline)) int scale(int x) /* local function */
{
  return x * table[x & 3] + scratch[x & 63];
}

__attribute__((weak)) int hook_default(int x) /* weak function */
{
  return x + tunable;
}

#ifdef __arm__
/* On ARM this one is built as Thumb code, so the object mixes both
 * instruction sets and carries $a, $t and $d mapping symbols. */
__attribute__((target("thumb"), noinline)) int thumb_mix(int a, int b)
{
  return (a * 1000003) ^ (b + counter);
}
#endif

int compute_total(int n) /* global function */
{
  int total = 0;
  for (int i = 0; i < n; ++i) {
    total += scale(i) + shared_buffer[i & 15];
    scratch[i & 63] = (char)total;
  }
  table[n & 3] = total;
  if (optional_hook)
    optional_hook();
  external_log(greeting);
  zeroed_total = total + external_value + hook_default(counter);
  shared_flag = 1;
#ifdef __arm__
  zeroed_total += thumb_mix(total, n);
#endif
  return zeroed_total;
}
