// The library unloaded and loaded again in one process, as a host that loads it on demand does:
// the view window class must belong to the loaded copy and go with it, so that windows made after
// the reload never call a window procedure of the unloaded one.
#include <gtest/gtest.h>

#include <windows.h>

#include "OrvanePC.h"
#include "ParentWindow.h"

namespace {

struct Library {
    HMODULE module = nullptr;
    decltype(&PC_CreateView) createView = nullptr;
    decltype(&PC_DestroyView) destroyView = nullptr;
    decltype(&PC_Render) render = nullptr;

    bool load() {
        module = LoadLibraryW(L"OrvanePC.dll");
        if (!module) return false;
        createView = reinterpret_cast<decltype(createView)>(GetProcAddress(module, "PC_CreateView"));
        destroyView = reinterpret_cast<decltype(destroyView)>(GetProcAddress(module, "PC_DestroyView"));
        render = reinterpret_cast<decltype(render)>(GetProcAddress(module, "PC_Render"));
        return createView && destroyView && render;
    }
};

HMODULE moduleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCWSTR>(address), &module);
    return module;
}

bool classExists(HINSTANCE instance, const wchar_t* name) {
    WNDCLASSEXW info{};
    info.cbSize = sizeof info;
    return GetClassInfoExW(instance, name, &info) != FALSE;
}

TEST(LibraryReload, TheViewClassBelongsToTheLoadedCopyAndGoesWithIt) {
    ASSERT_EQ(GetModuleHandleW(L"OrvanePC.dll"), nullptr) << "this program must not link the library";
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE("load " + std::to_string(round + 1));
        Library library;
        ASSERT_TRUE(library.load()) << GetLastError();
        auto parent = ovcf::harness::ParentWindow::create(160, 120);
        ASSERT_TRUE(parent);
        PcView view = library.createView(reinterpret_cast<PcParentWindow>(parent->handle()));
        ASSERT_NE(view, nullptr);
        const HWND child = reinterpret_cast<HWND>(parent->firstChild());
        ASSERT_NE(child, nullptr);
        EXPECT_EQ(reinterpret_cast<HMODULE>(GetClassLongPtrW(child, GCLP_HMODULE)), library.module);
        EXPECT_EQ(moduleOf(reinterpret_cast<const void*>(GetClassLongPtrW(child, GCLP_WNDPROC))), library.module);
        EXPECT_EQ(library.render(view), 0);
        library.destroyView(view);
        parent->flush();
        // The last view took the class with it; the bootstrap class never outlives its window.
        for (HINSTANCE owner : {static_cast<HINSTANCE>(library.module), GetModuleHandleW(nullptr)}) {
            EXPECT_FALSE(classExists(owner, L"OrvanePcView"));
            EXPECT_FALSE(classExists(owner, L"OrvanePcBootstrap"));
        }
        ASSERT_TRUE(FreeLibrary(library.module));
        EXPECT_EQ(GetModuleHandleW(L"OrvanePC.dll"), nullptr);
    }
}

}  // namespace
