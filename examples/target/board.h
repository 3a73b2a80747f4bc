/* board.h - the devices of the example board, as a program sees them. */

#ifndef BOARD_H
#define BOARD_H

typedef unsigned char u8;
typedef unsigned short u16;
typedef unsigned int u32;
typedef unsigned long long u64;
typedef long long i64;

#define REG(Address) (*(volatile u32 *)(Address))

#define UART_DATA REG(0x80000100)
#define UART_STATUS REG(0x80000104)
#define UART_CONTROL REG(0x80000108)
#define UART_TX_READY 4u
#define UART_TX_ON 2u

#define IRQ_PENDING REG(0x80000204)
#define IRQ_CLEAR REG(0x8000020c)
#define IRQ_MASK REG(0x80000240)

#define TIMER_SCALER_RELOAD REG(0x80000304)
#define TIMER_COUNTER REG(0x80000310)
#define TIMER_RELOAD REG(0x80000314)
#define TIMER_CONTROL REG(0x80000318)
#define TIMER_ENABLE 1u
#define TIMER_RESTART 2u
#define TIMER_LOAD 4u
#define TIMER_IRQ 8u
#define TIMER_IRQ_LEVEL 8

/** Sleeps until an interrupt has been served. */
void powerDown(void);

/** Called for each interrupt, with traps enabled and its level masked. */
void irqHandler(int Level);

void putChar(char C);
void putText(const char *Text);
void putHex(u32 Value);
void putNumber(u32 Value);

#endif
