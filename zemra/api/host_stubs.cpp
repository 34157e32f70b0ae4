#include <cstdint>
#include <initializer_list>

#include "zemra/message/export.h"

// Stand-ins for entry points of the host application, so that modules written against its
// interface link with the library alone. They do nothing, whatever they are called with; the
// host's own definitions, when it is there, come first. No header declares them: a module
// has the host's.

// Declared at once, with any arguments.
#define ZEMRA_NOTHING(name) \
    ZM_API void name(...);  \
    void name(...) {}

// An integer zero, a null pointer or false: all of the register that holds the result is 0.
#define ZEMRA_ZERO(name)            \
    ZM_API std::intptr_t name(...); \
    std::intptr_t name(...) { return 0; }

extern "C" {

ZEMRA_NOTHING(gui_create)
ZEMRA_NOTHING(gui_display)
ZEMRA_NOTHING(gui_get)
ZEMRA_NOTHING(gui_set)
ZEMRA_NOTHING(gui_do_alert)
ZEMRA_NOTHING(gui_list_set_items)
ZEMRA_NOTHING(cmd_push)
ZEMRA_NOTHING(cmd_pop)
ZEMRA_NOTHING(cmd_is_interactive)
ZEMRA_NOTHING(log_cmd_send)
ZEMRA_NOTHING(object_create_gui)
ZEMRA_NOTHING(object_delete)
ZEMRA_NOTHING(delete_object)
ZEMRA_NOTHING(slist_create)
ZEMRA_NOTHING(slist_add_entry)
ZEMRA_NOTHING(spline_hermite)
ZEMRA_NOTHING(bspline_pts)
ZEMRA_NOTHING(GuiSetProgress)
ZEMRA_NOTHING(set_status_bar_text)
ZEMRA_NOTHING(execute_command)
ZEMRA_NOTHING(EditRule)

ZEMRA_ZERO(ModelTreeDisplay)
ZEMRA_ZERO(ModelTreeRefresh)
ZEMRA_ZERO(MTTFilterCreate)
ZEMRA_ZERO(Monitor_Create)
ZEMRA_ZERO(DefCont_Create)
ZEMRA_ZERO(GeomGet)
ZEMRA_ZERO(GetCount)
ZEMRA_ZERO(LoadRule)
ZEMRA_ZERO(gui_root)
ZEMRA_ZERO(gui_translate)
ZEMRA_ZERO(gui_clipboard_copy)
ZEMRA_ZERO(log_file_name)
ZEMRA_ZERO(mesh_library_load)
ZEMRA_ZERO(sim_is_multi_running)
ZEMRA_ZERO(AddRule)

ZM_API unsigned FPR_GetNearestNodeForFePartMarker(unsigned part, double* location);
unsigned FPR_GetNearestNodeForFePartMarker(unsigned, double*) { return 0; }

ZM_API bool sim_is_running();
bool sim_is_running() { return false; }

/// Stores null through each of its arguments that is not null itself.
ZM_API void GetUserLibPointers(void** p1, void** p2, void** p3);
void GetUserLibPointers(void** p1, void** p2, void** p3) {
    for (void** const p : {p1, p2, p3})
        if (p) *p = nullptr;
}

}  // extern "C"
