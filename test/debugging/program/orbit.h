/* Angles of an orbit, and what is shared between its sources. */
extern int counter;
extern int lock;
int wrap(int Angle);
