/* What examples/policy_host.m uses of Apple's Foundation, whose headers no other system has:
 * declared as Apple documents it, so that the compiler reads the example. */

#import <objc/NSObject.h>
#import <objc/objc.h>

@interface NSString : NSObject
@property(readonly) const char* fileSystemRepresentation;
@end

@interface NSConstantString : NSString
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDirectory
                                relativeToURL:(NSURL*)base;
@property(readonly) const char* fileSystemRepresentation;
@end
