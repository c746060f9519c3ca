/* A service-side program built against the installed library only. */
#include <stdio.h>
#include <string.h>

#include <orvsys/orvsys.h>

int main(void) {
    char text[16];
    orv_variant_t v;
    int32_t back = 0;

    memset(&v, 0, sizeof v);
    v.type = ORV_VT_STRING;
    v.value.data = text;
    v.value.cap = sizeof text;
    if (!orv_variant_from_int32(&v, -1234) || strcmp(text, "-1234") != 0) {
        fprintf(stderr, "store gave '%s'\n", text);
        return 1;
    }
    if (!orv_variant_to_int32(&v, &back) || back != -1234) {
        fprintf(stderr, "read back %d\n", (int)back);
        return 1;
    }
    puts("consumer ok");
    return 0;
}
