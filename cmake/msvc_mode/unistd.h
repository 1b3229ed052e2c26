/// Wine has this header; Microsoft's compiler comes without.
#error "<unistd.h> is not to be had on Windows"
