// SPDX-License-Identifier: MIT
#include "plugin/support/Operations.h"

#include "plugin/support/Documents.h"

#include <stdexcept>

namespace kinloom_test {

using namespace W;

namespace {

// The callback is null when nobody wants to know.
template <class Function> Function unlessNull(Recorder* recorder, Function callback) { return recorder ? callback : nullptr; }

WSTATUS startRegister(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.registerKL(unlessNull(recorder, &Callback<>::call), recorder);
}

WSTATUS startAuth(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.authKL(unlessNull(recorder, &Callback<>::call), recorder);
}

WSTATUS startGroupList(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.retrieveGroupList(personWith("p1"), unlessNull(recorder, &Callback<WContainer<WGroup>, WPerson>::call), 0, 10,
                                 KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE, recorder);
}

WSTATUS startGroupCreation(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.createGroup(groupWith("", "Family"), personWith("p1"), unlessNull(recorder, &Callback<WGroup>::call), recorder);
}

WSTATUS startGroupDeletion(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.deleteGroup(groupWith("g1"), unlessNull(recorder, &Callback<WGroup>::call), recorder);
}

WSTATUS startFeeds(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.retrieveGroupFeeds(groupWith("g1"), "", "now", 30, KL_BASE_CREATED_TIME, KL_ITEM_ALL, KL_INCLUDE_NONE,
                                  unlessNull(recorder, &Callback<WContainer<WContent>>::call), recorder);
}

WSTATUS startContentCreation(WKLOAI& oai, Recorder* recorder, const TempFolder& folder)
{
    return oai.createContent(groupWith("g1"), contentWith("mine", "image/jpeg"), KL_CONTENT_PHOTO,
                             folder.write("photo.jpg", "a photo"), unlessNull(recorder, &Callback<WGroup, WContent, STRING>::call),
                             recorder);
}

WSTATUS startContentDeletion(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.deleteContent(contentWith("c1"), unlessNull(recorder, &Callback<WContent>::call), recorder);
}

WSTATUS startContentView(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.viewContent(contentWith("c1"), unlessNull(recorder, &Callback<WContent>::call), recorder);
}

WSTATUS startResourceDownload(WKLOAI& oai, Recorder* recorder, const TempFolder& folder)
{
    WMediaResource resource;
    // The file goes to the temporary folder, so its name must be nobody else's.
    resource.setResourceURL("http://media.kinloom.example/full" + folder.path() + ".jpg?size=full");
    return fnContentDownloader(resource, unlessNull(recorder, &onDownloaded), &oai, recorder);
}

WSTATUS startCommentList(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.retrieveComments(contentWith("c1"), unlessNull(recorder, &Callback<WContainer<WComment>>::call), 0, 10, recorder);
}

WSTATUS startCommentCreation(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.createComment(contentWith("c1"), commentWith("mine", "lovely"),
                             unlessNull(recorder, &Callback<WComment, STRING>::call), recorder);
}

WSTATUS startCommentDeletion(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.deleteComment(commentWith("m1"), unlessNull(recorder, &Callback<WComment>::call), recorder);
}

WSTATUS startCommentView(WKLOAI& oai, Recorder* recorder, const TempFolder&)
{
    return oai.viewComment(commentWith("m1"), unlessNull(recorder, &Callback<WComment, STRING>::call), recorder);
}

WSTATUS startDirectDownload(WKLOAI& oai, Recorder* recorder, const TempFolder& folder)
{
    return oai.download(oai.getContentProvider(), "http://media.kinloom.example/a/photo.jpg", folder.path(), "saved.jpg",
                        unlessNull(recorder, &Callback<STRING>::call), recorder);
}

STRING okDocument() { return documents::OK; }
STRING oneGroup() { return documents::groups(1); }
STRING oneContent() { return documents::contents(1); }
STRING oneComment() { return documents::comments(1); }
STRING photoBytes() { return STRING("\xFF\xD8\xFF\0photo", 9); }

OperationCase account(const char* name, UINT32 key, decltype(OperationCase::start) start)
{
    OperationCase operation{name, key, start, okDocument};
    operation.needsSession = false;
    operation.readsReply = false;
    operation.flushesOnSuccess = true;
    return operation;
}

OperationCase downloadOf(const char* name, UINT32 key, decltype(OperationCase::start) start)
{
    OperationCase operation{name, key, start, photoBytes};
    operation.sendsCredentials = false;
    operation.isRegistered = false;
    operation.readsReply = false;
    operation.isTransfer = true;
    operation.writesFile = true;
    return operation;
}

std::vector<OperationCase> makeOperations()
{
    std::vector<OperationCase> all;
    all.push_back(account("registerKL", CMD_REGISTER, startRegister));
    all.push_back(account("authKL", CMD_AUTH, startAuth));
    all.push_back({"retrieveGroupList", CMD_GROUP_LIST_RETRIEVAL, startGroupList, oneGroup});
    all.push_back({"createGroup", CMD_GROUP_CREATION, startGroupCreation, oneGroup});
    all.push_back({"deleteGroup", CMD_GROUP_DELETION, startGroupDeletion, oneGroup});
    all.push_back({"retrieveGroupFeeds", CMD_GROUP_FEEDS_RETRIEVAL, startFeeds, oneContent});

    OperationCase creation{"createContent", CMD_CONTENT_CREATION, startContentCreation, oneContent};
    creation.flushesOnSuccess = true;
    creation.isTransfer = true;
    creation.asksFirst = true;
    all.push_back(creation);

    all.push_back({"deleteContent", CMD_CONTENT_DELETION, startContentDeletion, oneContent});
    all.push_back({"viewContent", CMD_CONTENT_VIEW, startContentView, oneContent});

    OperationCase resource = downloadOf("fnContentDownloader", CMD_DOWNLOAD, startResourceDownload);
    resource.needsSession = false;
    resource.reportsOwnCancel = true;
    all.push_back(resource);

    OperationCase list{"retrieveComments", CMD_COMMENTS_RETRIEVAL, startCommentList, oneComment};
    list.callsBack = false;
    list.flushesOnSuccess = true;
    all.push_back(list);

    OperationCase comment{"createComment", CMD_COMMENT_CREATION, startCommentCreation, oneComment};
    comment.sendsCredentials = false;
    all.push_back(comment);
    all.push_back({"deleteComment", CMD_COMMENT_DELETION, startCommentDeletion, oneComment});
    all.push_back({"viewComment", CMD_COMMENT_VIEW, startCommentView, oneComment});
    all.push_back(downloadOf("download", CMD_DIRECT_DOWNLOAD, startDirectDownload));
    return all;
}

} // namespace

const std::vector<OperationCase>& operations()
{
    static const std::vector<OperationCase> ALL = makeOperations();
    return ALL;
}

const OperationCase& operationNamed(const STRING& name)
{
    for (const OperationCase& operation : operations())
        if (name == operation.name)
            return operation;
    throw std::out_of_range(name);
}

STRING resourceFile(const TempFolder& folder) { return "/tmp/" + folder.path().substr(folder.path().rfind('/') + 1) + ".jpg"; }

std::ostream& operator<<(std::ostream& out, const OperationCase& operation) { return out << operation.name; }

} // namespace kinloom_test
