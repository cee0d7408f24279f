/* A shared library that uses the versioned interfaces of libbase, so it
 * carries version requirements as well as its own version definitions. */

extern void *base_alloc(unsigned size);
extern void base_free(void *p);
extern int base_version(void);

struct plugin_state {
  int calls;
  void *buffer;
};

static struct plugin_state state;          /* local .bss */
int plugin_generation = 1;                 /* exported data */
const char plugin_name[] = "shape-plugin"; /* exported read-only data */

static int check_base(void) /* local function */
{
  return base_version() >= 2;
}

int plugin_init(void)
{
  if (!check_base())
    return -1;
  state.buffer = base_alloc(64);
  return state.buffer ? 0 : -1;
}

void plugin_shutdown(void)
{
  base_free(state.buffer);
  state.buffer = 0;
}

int plugin_call(int x)
{
  ++state.calls;
  return x * plugin_generation + state.calls;
}

/* Not exported: the version script keeps it local to the library. */
int plugin_private_counter(void)
{
  return state.calls;
}
