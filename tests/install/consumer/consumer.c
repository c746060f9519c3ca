/* A service-side program built against the installed library only. */
#include <stdio.h>

#include <orvsys/orvsys.h>

int main(void) {
    char text[16] = "";
    orv_strncpy_safe(text, "consumer ok", sizeof text);
    return puts(text) < 0 || orv_strlen_safe(text, sizeof text) != 11;
}
