// SPDX-License-Identifier: MIT
/// \file The service's interface.
#ifndef TELEVISION_W_WKINLOOMOAI_H
#define TELEVISION_W_WKINLOOMOAI_H

#include "W/WAbstractOAI.h"
#include "W/WContainer.h"
#include "W/WContent.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h" // IWYU pragma: export

namespace W {

enum KL_OPTION_SORT : UINT32 {};
enum KL_OPTION_INCLUDE : UINT32 {};
enum KL_SEARCH_BASE : UINT32 {};
enum KL_OPTION_ITEM : UINT32 {};
enum KL_CONTENT_TYPE : UINT32 {};
enum KL_SEARCH_DIRECTION : UINT32 {};
enum KL_OPTION_ORDER : UINT32 {};

class WKinloomOAI : public WAbstractOAI {
public:
    virtual WSTATUS registerKL(void (*callback)(WSTATUS, const WContentProvider&, void*), void* userData) = 0;
    virtual WSTATUS unregisterKL(void (*callback)(WSTATUS, const WContentProvider&, void*), void* userData) = 0;
    virtual WSTATUS authKL(void (*callback)(WSTATUS, const WContentProvider&, void*), void* userData) = 0;

    virtual WSTATUS
    retrieveGroupList(const WPerson& person,
                      void (*callback)(WSTATUS, const WContentProvider&, const WContainer<WGroup>&, const WPerson&, void*),
                      unsigned int index, unsigned int count, KL_OPTION_SORT sort, KL_OPTION_INCLUDE include, void* userData) = 0;
    virtual WSTATUS createGroup(const WGroup& group, const WPerson& person,
                                void (*callback)(WSTATUS, const WContentProvider&, const WGroup&, void*), void* userData) = 0;
    virtual WSTATUS deleteGroup(const WGroup& group, void (*callback)(WSTATUS, const WContentProvider&, const WGroup&, void*),
                                void* userData) = 0;
    virtual WSTATUS retrieveGroupFeeds(const WGroup& group, const std::string& before, const std::string& after, unsigned int count,
                                       KL_SEARCH_BASE base, KL_OPTION_ITEM item, KL_OPTION_INCLUDE include,
                                       void (*callback)(WSTATUS, const WContentProvider&, const WContainer<WContent>&, void*),
                                       void* userData) = 0;
    virtual WSTATUS retrieveGroupGallery(const WGroup& group, KL_CONTENT_TYPE type, unsigned int count,
                                         KL_SEARCH_DIRECTION direction, KL_OPTION_SORT sort, KL_OPTION_ORDER order,
                                         void (*callback)(WSTATUS, const WContentProvider&, const WContainer<WContent>&, void*),
                                         void* userData) = 0;

    virtual WSTATUS createContent(const WGroup& group, const WContent& content, KL_CONTENT_TYPE type, const std::string& filePath,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WGroup&, const WContent&,
                                                   const std::string&, void*),
                                  void* userData) = 0;
    virtual WSTATUS deleteContent(const WContent& content,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WContent&, void*), void* userData) = 0;
    virtual WSTATUS updateContent(const WContent& content, const std::string& update,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WContent&, const std::string&, void*),
                                  void* userData) = 0;
    virtual WSTATUS viewContent(const WContent& content, void (*callback)(WSTATUS, const WContentProvider&, const WContent&, void*),
                                void* userData) = 0;

    virtual WSTATUS createComment(const WContent& content, const WComment& comment,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WComment&, const std::string&, void*),
                                  void* userData) = 0;
    virtual WSTATUS deleteComment(const WComment& comment,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WComment&, void*), void* userData) = 0;
    virtual WSTATUS updateComment(const WComment& comment,
                                  void (*callback)(WSTATUS, const WContentProvider&, const WComment&, void*), void* userData) = 0;
    virtual WSTATUS viewComment(const WComment& comment,
                                void (*callback)(WSTATUS, const WContentProvider&, const WComment&, const std::string&, void*),
                                void* userData) = 0;

    virtual WSTATUS cancel(const WContentProvider& provider, void (*callback)(WSTATUS, const WContentProvider&, void*),
                           void* userData) = 0;
    virtual WSTATUS download(const WContentProvider& provider, const std::string& url, const std::string& directory,
                             const std::string& fileName,
                             void (*callback)(WSTATUS, const WContentProvider&, const std::string&, void*), void* userData) = 0;
    virtual WSTATUS progressStatus(const WContentProvider& provider, double& first, double& second, void* userData) = 0;

protected:
    explicit WKinloomOAI(const WContentProvider& provider);
};

} // namespace W

#endif
