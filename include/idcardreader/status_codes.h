/*
 * Cause and cure of each status code that is raised, for C and C++, in UTF-8 (MSVC needs /utf-8).
 * Generated from codes.json by scripts/code-tables.
 */
#ifndef IDCARDREADER_STATUS_CODES_H_
#define IDCARDREADER_STATUS_CODES_H_

typedef struct IdcardreaderStatusCode {
  int code;
  const char* cause;
  const char* cure;
  const char* causeZh;
  const char* cureZh;
} IdcardreaderStatusCode;

/* clang-format off */
static const IdcardreaderStatusCode idcardreaderStatusCodes[] = {
  {2,
   "The thread for the decode service could not be created: the system is out of threads or "
   "memory.",
   "Close other programs, or restart the machine, and try again.",
   "无法创建解码服务线程：系统线程或内存不足。",
   "请关闭其他程序或重启电脑后重试。"},
  {3,
   "No network socket could be made: the system's network is not set up, or it is out of "
   "resources.",
   "Check the system's network set-up and close other programs, then read again.",
   "无法创建网络套接字：系统网络未配置或资源不足。",
   "请检查系统网络设置并关闭其他程序，然后重新读卡。"},
  {7,
   "The heartbeat that opens a read could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "读卡前的心跳未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {8,
   "The heartbeat that opens a read was not answered: the connection broke, or the service was "
   "silent for longer than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "读卡前的心跳没有得到应答：连接中断，或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {9,
   "The card's DN could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "卡片DN码未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {10,
   "The card's DN was not answered: the connection broke, or the service was silent for longer "
   "than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "卡片DN码没有得到应答：连接中断，或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {11,
   "The output key could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "输出密钥（OUTPUTKEY）未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {12,
   "The output key was not answered: the connection broke, or the service was silent for longer "
   "than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "输出密钥（OUTPUTKEY）没有得到应答：连接中断，"
   "或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {13,
   "Sector 11 (the card's text) could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "11扇区（文字）未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {14,
   "Sector 11 (the card's text) was not answered: the connection broke, or the service was silent "
   "for longer than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "11扇区（文字）没有得到应答：连接中断，或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {15,
   "Sector 12 (the photo's first part) could not be sent to the decode service: the connection "
   "broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "12扇区（照片前半）未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {16,
   "Sector 12 (the photo's first part) was not answered: the connection broke, or the service was "
   "silent for longer than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "12扇区（照片前半）没有得到应答：连接中断，"
   "或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {17,
   "Sector 13 (the photo's second part) could not be sent to the decode service: the connection "
   "broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "13扇区（照片后半）未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {18,
   "Sector 13 (the photo's second part) was not answered: the connection broke, or the service "
   "was silent for longer than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "13扇区（照片后半）没有得到应答：连接中断，"
   "或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {19,
   "Sector 21 (the fingerprints) could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "21扇区（指纹）未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {20,
   "Sector 21 (the fingerprints) was not answered: the connection broke, or the service was "
   "silent for longer than the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "21扇区（指纹）没有得到应答：连接中断，或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {22,
   "The card's content did not come, or it held no data: the connection broke, or the service "
   "cannot decode the card.",
   "Read again; if it stays so with this card, ask the operator of the decode service.",
   "没有收到身份证内容或内容为空：连接中断，"
   "或解码服务无法解码此卡。",
   "请重新读卡；若此卡始终如此，请联系解码服务运营方。"},
  {26,
   "The thread for reading, or the one that speaks to the reader, could not be created: the "
   "system is out of threads or memory.",
   "Close other programs, or restart the machine, and try again.",
   "无法创建读卡线程：系统线程或内存不足。",
   "请关闭其他程序或重启电脑后重试。"},
  {27,
   "No reader was found: none is plugged in, vid or pid in conf.yaml do not fit it (decimal "
   "numbers; one that is 0 finds nothing), or hidapi.dll is missing on Windows.",
   "Plug the reader in; check vid and pid in conf.yaml; on Windows check that hidapi.dll lies "
   "beside the library; on Linux check that the user may read and write the device node.",
   "未找到读卡器：未插入读卡器，conf.yaml 中的 vid 或 pid 不符（十进制；"
   "为 0 则找不到），或 Windows 上缺少 hidapi.dll。",
   "请插好读卡器；检查 conf.yaml 中的 vid 和 pid；Windows 上检查 hidapi.dll "
   "是否在库旁边；Linux 上检查用户是否有权读写设备节点。"},
  {28,
   "The reader is there but cannot be opened: another program holds it, or the user may not use "
   "it.",
   "Close other programs that use the reader; on Linux check that the user may read and write its "
   "device node.",
   "找到读卡器但无法打开：被其他程序占用，或用户没有权限。",
   "请关闭占用读卡器的其他程序；Linux "
   "上检查用户是否有权读写设备节点。"},
  {29,
   "No decode service could be reached: appid.dat or hostport.dat is missing or empty, a host "
   "name is not found, or nobody answers at the address.",
   "Check that appid.dat and hostport.dat lie beside the library, then name resolution and "
   "firewall.",
   "无法连接解码服务：appid.dat 或 hostport.dat 缺失或为空，域名无法解析，"
   "或服务器地址无应答。",
   "请检查库旁边是否有 appid.dat 和 hostport.dat，再检查域名解析和防火墙。"},
  {30,
   "The reader's answer was missing or malformed.",
   "Read again; if it stays so, unplug the reader and plug it in again.",
   "读卡器没有应答，或应答格式错误。",
   "请重新读卡；若仍然如此，请拔下读卡器再重新插上。"},
  {31,
   "The reader reports an unknown status.",
   "Read again; if it stays so, unplug the reader and plug it in again.",
   "读卡器报告：未知状态。",
   "请重新读卡；若仍然如此，请拔下读卡器再重新插上。"},
  {32,
   "The reader reports a communication error with the card.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：与卡片通信错误。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {33,
   "The reader reports a collision: more than one card lies on it.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：冲突：有多张卡。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {34,
   "The reader reports that the card did not answer in time.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：卡片通信超时。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {35,
   "The reader reports that a buffer is too small.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：缓冲区太小。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {36,
   "The reader reports an internal error.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：内部错误。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {37,
   "The reader reports an invalid parameter, a wrong key among others.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：参数非法，例如密钥错误。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {38,
   "The reader reports a checksum error: the card was moved.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "读卡器报告：校验错误：卡片被移动。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {39,
   "The reader reports that the card is locked.",
   "Try another card; if that one reads, the first is locked and its holder has to turn to the "
   "authority that issued it.",
   "读卡器报告：卡片被锁死。",
   "请换一张卡试；若能读取，则原卡已锁死，持卡人须联系签发机关。"},
  {40,
   "The card's DN could not be read in two attempts: there is no card, or it was taken away.",
   "Lay one card flat on the reader, leave it there, and read again.",
   "两次读取DN码均失败：没有放卡，或卡片已拿开。",
   "请将一张卡平放在读卡器上，不要移动，重新读卡。"},
  {44,
   "The service refused the card's DN, its answer was malformed, or the login has expired.",
   "Read again: an expired login is renewed by the next read. If it stays so, ask the operator of "
   "the decode service.",
   "解码服务拒绝了DN码、应答格式错误，或登录已过期。",
   "请重新读卡：登录过期时下次读卡会自动重新登录。若仍然如此，"
   "请联系解码服务运营方。"},
  {45,
   "The service refused the output key, its answer was malformed, or the login has expired.",
   "Read again: an expired login is renewed by the next read. If it stays so, ask the operator of "
   "the decode service.",
   "解码服务拒绝了输出密钥、应答格式错误，或登录已过期。",
   "请重新读卡：登录过期时下次读卡会自动重新登录。若仍然如此，"
   "请联系解码服务运营方。"},
  {46,
   "The result did not come within two seconds of the last upload, or the fields were fetched "
   "later than two seconds behind the read.",
   "Read again, and fetch the fields at once.",
   "最后一次上传后两秒内没有结果，或读卡成功两秒后才取字段。",
   "请重新读卡，并在读卡成功后立即取字段。"},
  {47,
   "The reader was unplugged.",
   "Plug the reader in; the next read opens it again.",
   "读卡器被拔出。",
   "请插好读卡器；下次读卡会重新打开。"},
  {48,
   "The serial port could not be opened: there is no such port, another program holds it, or the "
   "user may not use it.",
   "Check comnum and comport (on Linux comname) in conf.yaml, and that the port is free.",
   "串口无法打开：串口不存在、被其他程序占用，或用户没有权限。",
   "请检查 conf.yaml 中的 comnum 和 comport（Linux 为 comname），"
   "并确认串口未被占用。"},
  {49,
   "The login could not be sent to the decode service: the connection broke.",
   "Check network and firewall, then read again; every read connects anew.",
   "登录请求未能发送到解码服务：连接中断。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {50,
   "The login was not answered: the connection broke, or the service was silent for longer than "
   "the time-out.",
   "Check network and firewall, then read again; every read connects anew.",
   "登录请求没有得到应答：连接中断，或解码服务超时未响应。",
   "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"},
  {51,
   "The service refused the login: appid.dat does not fit the service or this machine.",
   "Check appid.dat beside the library with the operator of the decode service.",
   "解码服务拒绝登录：appid.dat 与服务或本机不符。",
   "请与解码服务运营方核对库旁边的 appid.dat。"},
  {55,
   "The card's content could not be decompressed: it came damaged.",
   "Read again; if it stays so, ask the operator of the decode service.",
   "身份证内容解压失败：数据损坏。",
   "请重新读卡；若仍然如此，请联系解码服务运营方。"},
};
/* clang-format on */

#endif /* IDCARDREADER_STATUS_CODES_H_ */
