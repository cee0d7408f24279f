/* The other half of a tiny freestanding program: it defines what shapes.c
 * references and the entry point that the linker starts at. */

int external_value = 42;         /* defined here, referenced from shapes.c */
static unsigned log_checksum;    /* local .bss */
static const char tag[] = "log"; /* local .rodata */

void external_log(const char *text)
{
  for (const char *p = tag; *p; ++p)
    log_checksum = log_checksum * 31u + (unsigned char)*p;
  while (*text)
    log_checksum = log_checksum * 31u + (unsigned char)*text++;
}

extern int compute_total(int);

volatile int exit_code;

/* No C library: the program starts here and spins when done. */
void _start(void)
{
  exit_code = compute_total(10) + (int)log_checksum;
  for (;;) {
  }
}
