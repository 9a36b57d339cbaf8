# The peer of exchange.sh in Ruby, by xmlrpc.
require 'json'
require 'xmlrpc/client'
require 'xmlrpc/create'
require 'xmlrpc/parser'

def structures(texts)
  texts.each_with_index.map do |text, number|
    { 'table-id' => number, 'text' => text, 'texts' => ['0', text], 'below' => -2_147_483_648, 'truth' => true, 'double' => -0.5 }
  end
end

action, kind, file = ARGV
texts = JSON.parse(action == 'write' ? $stdin.read : File.read(file))
if action == 'write'
  message = XMLRPC::Create.new
  print(case kind
        when 'call' then message.methodCall('/sbin/server', structures(texts))
        when 'response' then message.methodResponse(true, structures(texts))
        else message.methodResponse(false, XMLRPC::FaultException.new(3, texts[5]))
        end)
  exit
end

parser = XMLRPC::XMLParser::REXMLStreamParser.new
case kind
when 'call'
  exit(parser.parseMethodCall($stdin.read) == ['/sbin/server', [structures(texts)]])
when 'response'
  exit(parser.parseMethodResponse($stdin.read) == [true, structures(texts)])
else
  good, fault = parser.parseMethodResponse($stdin.read)
  exit(!good && fault.faultCode == 3 && fault.faultString == texts[5])
end
