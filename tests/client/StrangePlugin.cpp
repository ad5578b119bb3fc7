// SPDX-License-Identifier: MIT
// Files with a plugin's entry points that are not the plugin.
#include "W/WKinloomOAI.h"
#include "W/WStatus.h"

using namespace W;

namespace {

class OtherPlugin : public WKinloomOAI {
public:
    OtherPlugin() : WKinloomOAI(WContentProvider("Other", WContentProvider::SERVICE_KINLOOM)) {}

    WSTATUS login(const STRING&, const STRING&, WLoginCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS logout(WStatusCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS retrieveExceptions(std::list<WException*>&) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS resolveException(WException*, WExceptionCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS registerKL(WStatusCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS unregisterKL(WStatusCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS authKL(WStatusCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS retrieveGroupList(const WPerson&, KLGroupListCallback, unsigned int, unsigned int, KL_OPTION_SORT, KL_OPTION_INCLUDE,
                              VOID*) override
    {
        return WSTATUS_NOT_SUPPORTED;
    }
    WSTATUS createGroup(const WGroup&, const WPerson&, KLGroupCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS deleteGroup(const WGroup&, KLGroupCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS retrieveGroupFeeds(const WGroup&, const STRING&, const STRING&, unsigned int, KL_SEARCH_BASE, KL_OPTION_ITEM,
                               KL_OPTION_INCLUDE, KLContentListCallback, VOID*) override
    {
        return WSTATUS_NOT_SUPPORTED;
    }
    WSTATUS retrieveGroupGallery(const WGroup&, KL_CONTENT_TYPE, unsigned int, KL_SEARCH_DIRECTION, KL_OPTION_SORT, KL_OPTION_ORDER,
                                 KLContentListCallback, VOID*) override
    {
        return WSTATUS_NOT_SUPPORTED;
    }
    WSTATUS createContent(const WGroup&, const WContent&, KL_CONTENT_TYPE, const STRING&, KLContentCreationCallback, VOID*) override
    {
        return WSTATUS_NOT_SUPPORTED;
    }
    WSTATUS deleteContent(const WContent&, KLContentCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS updateContent(const WContent&, const STRING&, KLContentUpdateCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS viewContent(const WContent&, KLContentCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS createComment(const WContent&, const WComment&, KLCommentIDCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS deleteComment(const WComment&, KLCommentCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS updateComment(const WComment&, KLCommentCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS viewComment(const WComment&, KLCommentIDCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS cancel(const WContentProvider&, WStatusCallback, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
    WSTATUS download(const WContentProvider&, const STRING&, const STRING&, const STRING&, KLFileCallback, VOID*) override
    {
        return WSTATUS_NOT_SUPPORTED;
    }
    WSTATUS progressStatus(const WContentProvider&, double&, double&, VOID*) override { return WSTATUS_NOT_SUPPORTED; }
};

} // namespace

extern "C" __attribute__((visibility("default"))) void* createPlugin()
{
#ifdef MAKES_NONE
    return nullptr;
#else
    return static_cast<WKinloomOAI*>(new OtherPlugin);
#endif
}

extern "C" __attribute__((visibility("default"))) void destroyPlugin(void* plugin)
{
    delete static_cast<OtherPlugin*>(static_cast<WKinloomOAI*>(plugin));
}
