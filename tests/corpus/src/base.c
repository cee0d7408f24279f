/* A small shared library with versioned interfaces: base_alloc and
 * base_free came in version BASE_1.0, base_version in BASE_2.0.  The
 * version script base.map assigns them. */

static char arena[256];  /* local .bss */
static unsigned arena_used;
int base_alloc_count;    /* exported data */

void *base_alloc(unsigned size)
{
  if (size > sizeof arena - arena_used)
    return 0;
  void *p = arena + arena_used;
  arena_used += (size + 7u) & ~7u;
  ++base_alloc_count;
  return p;
}

void base_free(void *p)
{
  (void)p;
  --base_alloc_count;
}

int base_version(void)
{
  return 2;
}
