! startup.S - from reset to main: trap table, window handlers, interrupts, the way out.
!
! Eight windows. The trap table lies at the load address and is 4 KiB, aligned to that. Window overflow and
! underflow keep one window marked invalid. An interrupt saves what a C function may change, calls
! irqHandler(level) with traps enabled and the level masked, and goes back. main returns into "ta 0", which
! with traps disabled puts the processor into error mode: the run ends with a halt. Built with PROCESSORS
! defined, all but the first processor call secondary(number) instead of main.

#define PSR_ET   0x20
#define PSR_PIL  0xf00
#define WINDOWS  8

        .section .traps, "ax"
        .align  4096

! One entry is four instructions.
        .macro  TRAP handler
        mov     %psr, %l0
        sethi   %hi(\handler), %l4
        jmp     %l4 + %lo(\handler)
        rd      %wim, %l3
        .endm

        .macro  BAD type
        mov     %psr, %l0
        sethi   %hi(badTrap), %l4
        jmp     %l4 + %lo(badTrap)
        mov     \type, %l3
        .endm

        .macro  IRQ level
        mov     %psr, %l0
        sethi   %hi(irqTrap), %l4
        jmp     %l4 + %lo(irqTrap)
        mov     \level, %l3
        .endm

! From the invalid window, with the rotated WIM in %g1 and its old value in %l7: saves the window after it.
        .macro  SAVE_OLDEST
        save
        mov     %g1, %wim
        nop
        nop
        nop
        std     %l0, [%sp + 0]
        std     %l2, [%sp + 8]
        std     %l4, [%sp + 16]
        std     %l6, [%sp + 24]
        std     %i0, [%sp + 32]
        std     %i2, [%sp + 40]
        std     %i4, [%sp + 48]
        std     %i6, [%sp + 56]
        restore
        mov     %l7, %g1
        .endm

! Loads the registers of the present window from its stack.
        .macro  LOAD_WINDOW
        ldd     [%sp + 0], %l0
        ldd     [%sp + 8], %l2
        ldd     [%sp + 16], %l4
        ldd     [%sp + 24], %l6
        ldd     [%sp + 32], %i0
        ldd     [%sp + 40], %i2
        ldd     [%sp + 48], %i4
        ldd     [%sp + 56], %i6
        .endm

        .global _start
_start:
trapTable:
        ! 0x00 reset: also the entry point
        sethi   %hi(reset), %g1
        jmp     %g1 + %lo(reset)
        nop
        nop
        BAD     0x01
        BAD     0x02
        BAD     0x03
        BAD     0x04
        TRAP    windowOverflow
        TRAP    windowUnderflow
        .set    type, 0x07
        .rept   10
        BAD     type
        .set    type, type + 1
        .endr
        .set    level, 1
        .rept   15
        IRQ     level
        .set    level, level + 1
        .endr
        .set    type, 0x20
        .rept   256 - 0x20
        BAD     type
        .set    type, type + 1
        .endr

        .text

reset:
        set     trapTable, %g1
        mov     %g1, %tbr
        mov     2, %wim                 ! window 1 is invalid, the program starts in window 0
        set     0x0fe0, %g1             ! supervisor, traps enabled, all interrupts masked, window 0
        mov     %g1, %psr
        nop
        nop
        nop
#ifdef PROCESSORS
        rd      %asr17, %g1
        srl     %g1, 28, %o0            ! the number of this processor
        cmp     %o0, 0
        bne     another
        nop
#endif
        set     __stack_top, %sp
        sub     %sp, 96, %sp
        clr     %fp

        set     __bss_start, %o0
        set     __bss_end, %o1
1:      cmp     %o0, %o1
        bgeu    2f
        nop
        st      %g0, [%o0]
        ba      1b
        add     %o0, 4, %o0
2:
        rd      %psr, %g1
        andn    %g1, PSR_PIL, %g1
        wr      %g1, 0, %psr            ! let interrupts in
        nop
        nop
        nop
        call    main
        nop
        ! Leave: the result is in %o0, where a debugger finds it.
exit:
        rd      %psr, %g1
        andn    %g1, PSR_ET, %g1
        wr      %g1, 0, %psr
        nop
        nop
        nop
        ta      0
        nop

#ifdef PROCESSORS
! Another processor, its number in %o0: runs secondary(number) on a stack of its own, 64 KiB below the one
! before, and sleeps when that has come to its end.
another:
        set     __stack_top, %sp
        sll     %o0, 16, %g1
        sub     %sp, %g1, %sp
        sub     %sp, 96, %sp
        call    secondary
        clr     %fp
1:      wr      %g0, 0, %asr19
        ba      1b
        nop
#endif

! %l0 psr, %l1 pc, %l2 npc, %l3 wim. The trap has moved into the invalid window, which now is the oldest one:
! save the one after it and mark that invalid.
windowOverflow:
        mov     %g1, %l7
        srl     %l3, 1, %g1
        sll     %l3, WINDOWS - 1, %l4
        or      %g1, %l4, %g1           ! wim rotated right
        SAVE_OLDEST
        jmp     %l1
        rett    %l2

! The restore wants the invalid window: load it from its stack and mark the one after it invalid.
windowUnderflow:
        sll     %l3, 1, %l4
        srl     %l3, WINDOWS - 1, %l5
        or      %l5, %l4, %l5           ! wim rotated left
        mov     %l5, %wim
        nop
        nop
        nop
        restore
        restore
        LOAD_WINDOW
        save
        save
        jmp     %l1
        rett    %l2

! %l0 psr, %l1 pc, %l2 npc, %l3 level.
irqTrap:
        rd      %wim, %l4
        ! If the trap moved into the invalid window, save the next one first, as an overflow does.
        and     %l0, 7, %l5
        srl     %l4, %l5, %l6
        andcc   %l6, 1, %g0
        bz      1f
        nop
        mov     %g1, %l7
        srl     %l4, 1, %g1
        sll     %l4, WINDOWS - 1, %l6
        or      %g1, %l6, %g1
        SAVE_OLDEST
1:
        ! A frame for the globals and %y below the interrupted one.
        sub     %fp, 96 + 40, %sp
        st      %g1, [%sp + 96]
        std     %g2, [%sp + 104]
        std     %g4, [%sp + 112]
        std     %g6, [%sp + 120]
        rd      %y, %l5
        st      %l5, [%sp + 128]

        ! Traps on, this level and those below masked.
        andn    %l0, PSR_PIL, %l6
        sll     %l3, 8, %l7
        or      %l6, %l7, %l6
        or      %l6, PSR_ET, %l6
        wr      %l6, 0, %psr
        nop
        nop
        nop
        call    irqHandler
        mov     %l3, %o0

        ! Traps off for the way back.
        ld      [%sp + 128], %l5
        wr      %l5, 0, %y
        ld      [%sp + 96], %g1
        ldd     [%sp + 104], %g2
        ldd     [%sp + 112], %g4
        ldd     [%sp + 120], %g6
        rd      %psr, %l6
        andn    %l6, PSR_ET, %l6
        wr      %l6, 0, %psr
        nop
        nop
        nop
        ! The window to return to may have been saved meanwhile: load it, as an underflow does.
        and     %l0, 7, %l5
        add     %l5, 1, %l5
        and     %l5, WINDOWS - 1, %l5
        rd      %wim, %l4
        srl     %l4, %l5, %l6
        andcc   %l6, 1, %g0
        bz      2f
        nop
        sll     %l4, 1, %l6
        srl     %l4, WINDOWS - 1, %l7
        or      %l6, %l7, %l6
        mov     %l6, %wim
        nop
        nop
        nop
        restore
        LOAD_WINDOW
        save
2:
        ! The condition codes and masks of the interrupted program, in this window.
        wr      %l0, 0, %psr
        nop
        nop
        nop
        jmp     %l1
        rett    %l2

! Any other trap ends the program, with its type as the result.
badTrap:
        mov     %l3, %o0
        ta      0
        nop

        .global powerDown
powerDown:
        retl
        wr      %g0, 0, %asr19

        .section .note.GNU-stack, "", %progbits
