! Enough to run a C program in RAM: a stack, no windows beyond the first seven.
	.section .text
	.global _start
_start:
	set	0x40100000, %sp
	sub	%sp, 96, %sp
	call	main
	 nop
stop:
	wr	%g0, %asr19
	ba	stop
	 nop
	.section .note.GNU-stack, "", @progbits
