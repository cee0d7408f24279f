/* Helpers kept in a file whose object name is long enough (more than
 * fifteen characters) that an ar library must store it in its long-name
 * table. */

struct point {
  int x, y;
};

static struct point origin = {0, 0};                   /* local data */
const struct point unit_corners[4] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}}; /* global .rodata */
int last_area;                                         /* common block */
__attribute__((section(".geometry"))) int geometry_tag = 0x47454f4d; /* own section */

static int cross(struct point a, struct point b) /* local function */
{
  return a.x * b.y - a.y * b.x;
}

int polygon_area2(const struct point *p, int n) /* global function */
{
  int sum = 0;
  for (int i = 0; i < n; ++i)
    sum += cross(p[i], p[(i + 1) % n]);
  last_area = sum;
  return sum;
}

int distance_from_origin(struct point p) /* global function */
{
  int dx = p.x - origin.x, dy = p.y - origin.y;
  return (dx < 0 ? -dx : dx) + (dy < 0 ? -dy : dy);
}
