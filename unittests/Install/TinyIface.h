/* TinyIface.h - what the model Tiny and its callers share. */

#ifndef TINYIFACE_H
#define TINYIFACE_H

typedef struct TinyIface {
  void (*twice)(void *Obj);
} TinyIface;

#endif
