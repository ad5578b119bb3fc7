// SPDX-License-Identifier: MIT
#include "SeedTexts.h"

namespace fuzz {

namespace {

using Inputs = std::vector<std::string>;

const Inputs ERRORS = {"Error=104\n", "Error=Bad request\nmore", "Error=\nnext\n", "     104\n", "", "Err",
                       "12345",       "text Error=24 Error=25\n"};

const Inputs DATES = {"2010-05-05T07:04:09Z", "2010-05-05T07:04:09.123456789+09:00",
                      "20100505T070409-0330", "2010-05-05 07:04",
                      "2010-05-05",           "  2012-02-29T23:59:60Z ",
                      "0000-01-01T00:00:00Z", "9999-12-31T23:59:59.999999999-23:59"};

const Inputs URLS = {"http://media.kinloom.example/a/b.jpg?key=1&x=/y?z",
                     "http://h/a?b\nname.jpg",
                     "/../../etc/passwd",
                     "..",
                     "http://h/%2e%2e%2f%00x",
                     "http://h/\xEA\xB9\x80\xF0\x9F\x8E\x82.png",
                     ".hidden",
                     "a/b/",
                     std::string(300, 'x') + ".jpeg",
                     "photo (2).tar.gz",
                     "x\ty\r\n",
                     ""};

const Inputs REDIRECTS = {
    "http://media.kinloom.example/a/b.jpg?key=1\n/c d",
    "https://h:8443/a\n//other/x#y",
    "http://h\nhttp://user:pw@[::1]:80/%zz?\xEA\xB9\x80",
    "http://h/a/b\n../../c",
    "http://h/\nfile:///etc/passwd",
    "http://h/\nhttps://h.example.",
    "HTTP://h:99999/\n?q",
    "http://h/a b\"<>\n",
};

const Inputs REQUESTS = {
    ("POST /openapi/service/kinloom/auth\nHost: 127.0.0.1:8750\nAuthorization: auth_identifier=\"KL_AUTH_V1\",app_id=\"a\","
     "app_type=\"dtv\",token=\"t\",token_type=\"user\",duid=\"d\",signature=\"0123456789abcdef\"\n"),
    "GET /openapi/service/kinloom/me/group.list?search_index=0&search_count=10\nHost: [::1]:80\n",
    "POST /openapi/service/kinloom/7group.create\nHost: openapi.kinloom.example\n",
    "GET /openapi/service/kinloom/12/feeds?search_before=latest\nHost: h:65535\n",
    "POST /openapi/service/kinloom/12/upload.file\nAuthorization:  token=\"a b\" , other=\"x, y\", duid=\"\"\n",
    "DELETE /openapi/service/kinloom/12/view\nHost: a_b.c\n",
    "HEAD /media/original/0123456789abcdef/12/a%20b.jpg\nRange: bytes=0-99\nIf-None-Match: \"a\", W/\"c1-1\"\n",
    "GET /media/1920X1080/key/12/x.jpg\nContent-Length: 100\nRange: Bytes= 10 - \nIf-None-Match: *\n",
    "GET /media/person/key/3-4/x.jpg\nContent-Length: 0\nRange: bytes=-5\n",
    "GET /media/../../etc/passwd\nRange: bytes=5-2\nRange: bytes=1-2,4-5\nRange: items=1-2\n",
    "POST /control/faults\nContent-Length: 9223372036854775807\nRange: bytes=-9223372036854775807\n",
    "GET /control/hits\nHost: h/x\nHost: [::1\nHost: :80\nHost: h:\n",
    "GET /%2e%2e/x\nAuthorization: token=\"a\", token=\"b\"\nAuthorization: Basic YWJj\n",
    "",
};

const Inputs FORMS = {
    "group_name=Summer+%26+sea&group_desc=%ED%95%9C%EA%B8%80",
    "search_index=0&search_count=4294967295&option_sort=alphabetical&option_include=usage,member,creator",
    "search_before=2010-05-05T07:04:09.123Z&search_base=created_time&option_item=photo&option_include=none",
    "commentText=a & b && c=d%0D%0A<b>\"]]>'",
    "type=photo&description=%00%0B%EF%BF%BF&file_size=123",
    "&&=&a&b=1&b=2&=x&",
    "%&%2&%zz=%41%",
    "search_count=007&search_count=x&option_include=usage,,none",
    "",
};

const Inputs MULTIPARTS = {
    ("multipart/form-data; boundary=BB\n\n--BB\r\nContent-Disposition: form-data; name=\"filename\"; filename=\"a.jpg\"\r\n"
     "Content-Type: image/jpeg\r\n\r\n\xFF\xD8\xFF\r\n--B\r\n--BC\r\n-\r\n--BB--\r\n"),
    ("Multipart/Form-Data;charset=x; Boundary=\"a b\"\n\x01\x02\x7F\npreamble\r\n--a b \t\r\n\r\nfirst\r\n--a b\r\n"
     "Content-Disposition: form-data; name=x\r\n\r\n\r\n--a b--\r\nepilogue"),
    "\n\x03\n--BB\r\nContent-Disposition: form-data; name=x\r\n\r\n--BB--",
    "text/plain\n\n--BB\r\ncontent-disposition:form-data ; FILENAME=\"a\\\"b%22c\\\\d\" ; name=f\r\nX: y\r\n\r\nz\r\n--BB--",
    "multipart/form-data; boundary=\n\xFF\n--BB\r\nno colon\r\n\r\n",
    "photo \"1\"\r.jpg\n\x05\n\r\n\r\r\n--\r\n--KinloomBoundary",
    "a\n\x02\n--BB\r\n\r\n1\r\n--BB\r\n\r\n2\r\n--BBx\r\n--BB--",
    "a\n\n--BB\r\nContent-Disposition: attachment\r\n\r\n",
    "",
};

const Inputs CONFIGURATIONS = {
    "[provider.Kinloom]\napp_id = \"id\"\nAuthToken = 'to\"ken'\nduid = 42\n",
    "[provider.Kinloom]\nservice_type = 12\nflag = true\nnumber = 1.5\n[provider.\"a b\"]\nkey = \"\\u00e9\"\n",
    ("[client]\nconnect_to = [\"openapi.kinloom.example:80:127.0.0.1:8750\", \"::[::1]:80\"]\nconnect_timeout_ms = 10000\n"
     "stall_timeout_ms = 0\nmax_redirects = 5\nuser_agent = \"tv/1\"\nproxy = \"http://p:1\"\n"),
    ("[client]\nstall_bytes_per_second = 1\ntotal_timeout_ms = 9\nmax_memory_body = 1\nmax_file_body = 0\nmax_header_bytes = 1\n"
     "max_transfers = 1\nmax_connections_per_host = 0\nmax_requests = 1\ndownload_buffer_bytes = 1024\n"
     "upload_buffer_bytes = 16384\n"),
    "top = 1\n[other.deep]\nlist = [1, [2.5, \"x\"], {a = 1}]\ndate = 2010-05-05T07:04:09.5+09:00\n[[tables]]\na = 1\n[[tables]]\n",
    "provider.Kinloom.app_id = \"\"\"\nid\"\"\"\nprovider.Kinloom.duid = '''d'''\n",
    "a = [nan, -inf, 0x7F, 0o17, 0b11, 1_000, 1e308, -0.0, 07:04:09, 2010-05-05]\n",
    "[provider.Kinloom]\n\"a\\nb\" = [1]\n",
    "[provider.\"a\\u0007\"]\nx = {}\n",
    "provider = 1\n",
    "client = 1\n",
    "[client]\nconnect_to = [\"a:1:b\"]\n",
    "a = 1\na = 2\n",
    "x = \"open\n",
    "",
};

const Inputs SERVICE_URLS = {
    "http://127.0.0.1:8750",
    "http://[::1]:80/",
    "https://openapi.kinloom.example",
    "http://h:65536",
    "http://a b/",
    "::[::1]:8750",
    "h:80:other:81",
    "",
};

const Inputs SERVICE_TEXTS = {
    "2010:05:05 07:04:09\n+02:00",
    "2010-05-05T07:04:09.123Z",
    "0000-01-01T00:00:00.000+00:01",
    "9999-12-31T23:59:60-23:59",
    "2010-02-29 24:00:00",
    "group.list:status=503*2",
    "any:delay=10,stall-after=5,cut-after=0,reset,garbage",
    "media:status=199",
    "../photo\\\x01\xC3(\xF0\x9F\x8E\x82.tar.gz",
    // NOLINTNEXTLINE(misc-misleading-bidirectional): names come with marks of direction
    "a\x1B[2J\xE2\x80\xAE\xC2\x85\xE6\xBC\xA2\x65\xCC\x81",
    std::string(250, 'x') + ".jpeg",
    "",
};

} // namespace

const std::map<std::string, Inputs>& seedTexts()
{
    static const std::map<std::string, Inputs> SEEDS = {
        {"plain_error", ERRORS},
        {"date", DATES},
        {"download_path", URLS},
        {"file_name", URLS},
        {"url", REDIRECTS},
        {"shown_text", SERVICE_TEXTS},
        {"service_text", SERVICE_TEXTS},
        {"service_url", SERVICE_URLS},
        {"configuration", CONFIGURATIONS},
        {"request", REQUESTS},
        {"http", REQUESTS},
        {"form", FORMS},
        {"multipart", MULTIPARTS},
    };
    return SEEDS;
}

} // namespace fuzz
